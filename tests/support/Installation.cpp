#include "Installation.h"

#include "LeftoverPrograms.h"
#include "Patience.h"
#include "components/SqliteRegistryStore.h"
#include "platform/RuntimeError.h"
#include "platform/posix/SocketWindowDirectory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <csignal>

#include <unistd.h>

namespace hvx::test {

namespace {

const QString kBase = QStringLiteral("Software\\Halvex\\Help Desk\\Monitor\\");

QString readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

}  // namespace

Installation::Installation(const QString& name)
    : session(QStringLiteral("%1-%2").arg(name).arg(QCoreApplication::applicationPid())),
      app(dir.filePath(QStringLiteral("app"))),
      registry(dir.filePath(QStringLiteral("registry.sqlite3"))) {
    QDir().mkpath(app);
    for (const char* program : {"HvxMonitor", "HvxMonCore"}) {
        QFile::copy(bin + QLatin1Char('/') + QLatin1String(program),
                    app + QLatin1Char('/') + QLatin1String(program));
    }
    environment.insert(QStringLiteral("HVX_REGISTRY"), registry);
    environment.insert(QStringLiteral("HVX_SESSION"), session);
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dir.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("HVX_UNATTENDED"),
                       dir.filePath(QStringLiteral("boxes.jsonl")));
    // This process looks up the programs' windows in the same session.
    qputenv("HVX_SESSION", session.toUtf8());
}

Installation::~Installation() {
    for (auto& monitor : monitors_) {
        if (monitor->state() != QProcess::NotRunning) {
            monitor->kill();
            monitor->waitForFinished(5000);
        }
    }
    // A core application left running after a failure is asked to close.
    for (const QString& section : std::as_const(sections_)) {
        try {
            setControl("Command", QStringLiteral("5"), section);
        } catch (const RuntimeError& error) {
            // A store that a test made unusable: no core application ran on it.
            qWarning().noquote() << error.description();
        }
    }
    if (!QTest::qWaitFor([this] { return programsIn(app).isEmpty(); }, kPatienceMs)) {
        qWarning("a core application did not take the close command");
        killProgramsIn(app);
    }
}

bool Installation::createDatabase(const QString& folder, bool demo) {
    QDir().mkpath(folder);
    QStringList arguments{QStringLiteral("--db-ini"), folder};
    if (demo) {
        arguments << QStringLiteral("--demo");
    }
    QProcess setup;
    setup.start(bin + QStringLiteral("/hvx-dbsetup"), arguments);
    return setup.waitForFinished(kPatienceMs) && setup.exitCode() == 0;
}

bool Installation::createInstances(const QStringList& names) {
    QFile list(app + QStringLiteral("/monitornames.txt"));
    if (!list.open(QIODevice::WriteOnly)) {
        return false;
    }
    for (const QString& instance : names) {
        const QString folder = dir.filePath(instance);
        if (!createDatabase(folder)) {
            return false;
        }
        list.write((instance + QStringLiteral(", ") + folder + QStringLiteral("/\n")).toUtf8());
        sections_.append(QStringLiteral("Controls:") + instance);
    }
    return true;
}

void Installation::setSetting(const QString& name, const QString& value,
                              const QString& databaseFolder) {
    const QString connection = QStringLiteral("installation-settings");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName((databaseFolder.isEmpty() ? app : databaseFolder) +
                           QStringLiteral("/helpdesk.sqlite3"));
        QVERIFY(db.open());
        QSqlQuery query(db);
        query.prepare(QStringLiteral("update Settings set SettingValue = ? where SettingName = ?"));
        query.addBindValue(value);
        query.addBindValue(name);
        QVERIFY(query.exec());
        QCOMPARE(query.numRowsAffected(), 1);
    }
    QSqlDatabase::removeDatabase(connection);
}

QProcess* Installation::startMonitor(const QString& answers, const QString& coreFault) {
    auto* monitor = new QProcess;
    QProcessEnvironment env = environment;
    env.insert(QStringLiteral("HVX_ANSWERS"), answers);
    if (!coreFault.isEmpty()) {
        env.insert(QStringLiteral("HVX_CORE_FAULT"), coreFault);
    }
    monitor->setProcessEnvironment(env);
    monitor->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const QString program = app + QStringLiteral("/HvxMonitor");
    if (withoutFileOverride && ::geteuid() == 0) {
        // Root passes file permissions by its capabilities; without them it meets them.
        monitor->start(QStringLiteral("setpriv"),
                       {QStringLiteral("--bounding-set=-dac_override,-dac_read_search,-fowner"),
                        QStringLiteral("--"), program});
    } else {
        monitor->start(program, {});
    }
    monitor->waitForStarted();
    monitors_.emplace_back(monitor);
    return monitor;
}

bool Installation::terminate(QProcess* monitor) {
    ::kill(static_cast<pid_t>(monitor->processId()), SIGTERM);
    return monitor->waitForFinished(kPatienceMs) && monitor->exitStatus() == QProcess::NormalExit;
}

QString Installation::control(const char* name, const QString& section) const {
    QVariant value;
    int type = 0;
    const int found = SqliteRegistryStore::factory(registry)()->QueryValue(
        RegistryStore::kCurrentUser, kBase + section, QString::fromLatin1(name), value, type);
    return found == RegistryStore::kStatusOk ? value.toString() : QString();
}

void Installation::setControl(const char* name, const QString& value,
                              const QString& section) const {
    SqliteRegistryStore::factory(registry)()->SetValue(RegistryStore::kCurrentUser, kBase + section,
                                                       QString::fromLatin1(name), value,
                                                       RegistryStore::kTypeString, true);
}

bool Installation::window(const QString& caption) const {
    return SocketWindowDirectory().findWindow(caption);
}

QString Installation::boxes() const {
    return readAll(dir.filePath(QStringLiteral("boxes.jsonl")));
}

QString Installation::log(const QString& logFolder) const {
    return readAll(
        (logFolder.isEmpty() ? dir.filePath(QStringLiteral("data/halvex/help-desk")) : logFolder) +
        QStringLiteral("/monitorlog.txt"));
}

}  // namespace hvx::test
