#include "Installation.h"

#include "Patience.h"
#include "components/SqliteRegistryStore.h"
#include "platform/RuntimeError.h"
#include "platform/posix/SocketWindowDirectory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <csignal>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace hvx::test {

namespace {

const QString kBase = u"Software\\Halvex\\Help Desk\\Monitor\\"_s;

// The processes whose program lies in `folder`.
QList<int> programsIn(const QString& folder) {
    QList<int> found;
    const QString prefix = QFileInfo(folder).canonicalFilePath() + '/';
    const QStringList pids = QDir(u"/proc"_s).entryList(QDir::Dirs);
    for (const QString& pid : pids) {
        const QString program = QFileInfo("/proc/" + pid + "/exe").symLinkTarget();
        if (pid.toInt() > 0 && prefix.size() > 1 && program.startsWith(prefix)) {
            found.append(pid.toInt());
        }
    }
    return found;
}

QString readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

}  // namespace

Installation::Installation(const QString& name)
    : session(u"%1-%2"_s.arg(name).arg(QCoreApplication::applicationPid())),
      app(dir.filePath(u"app"_s)),
      registry(dir.filePath(u"registry.sqlite3"_s)) {
    QDir().mkpath(app);
    for (const QString& program : {u"/HvxMonitor"_s, u"/HvxMonCore"_s}) {
        QFile::copy(bin + program, app + program);
    }
    environment.insert(u"HVX_REGISTRY"_s, registry);
    environment.insert(u"HVX_SESSION"_s, session);
    environment.insert(u"XDG_DATA_HOME"_s, dir.filePath(u"data"_s));
    environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    environment.insert(u"HVX_UNATTENDED"_s, dir.filePath(u"boxes.jsonl"_s));
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
            setControl("Command", u"5"_s, section);
        } catch (const RuntimeError& error) {
            // A store that a test made unusable: no core application ran on it.
            qWarning().noquote() << error.description();
        }
    }
    // Whatever still runs would hold the test runner's output open until its time-out, and
    // run on a store of its own once the test's folder is gone.
    if (!QTest::qWaitFor([this] { return programsIn(app).isEmpty(); }, kPatienceMs)) {
        qWarning("a core application did not take the close command");
        for (const int pid : programsIn(app)) {
            ::kill(pid, SIGKILL);
        }
    }
}

bool Installation::createDatabase(const QString& folder, bool demo) {
    QDir().mkpath(folder);
    QProcess setup;
    setup.start(bin + "/hvx-dbsetup", QStringList{u"--db-ini"_s, folder} +
                                          (demo ? QStringList{u"--demo"_s} : QStringList{}));
    return setup.waitForFinished(kPatienceMs) && setup.exitCode() == 0;
}

bool Installation::createInstances(const QStringList& names) {
    QFile list(app + "/monitornames.txt");
    if (!list.open(QIODevice::WriteOnly)) {
        return false;
    }
    for (const QString& instance : names) {
        const QString folder = dir.filePath(instance);
        if (!createDatabase(folder)) {
            return false;
        }
        list.write((instance + ", " + folder + "/\n").toUtf8());
        sections_.append("Controls:" + instance);
    }
    return true;
}

QVariant Installation::query(const QString& sql, const QVariantList& values,
                             const QString& databaseFolder) const {
    const QString connection = u"installation"_s;
    QVariant first;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, connection);
        db.setDatabaseName((databaseFolder.isEmpty() ? app : databaseFolder) + "/helpdesk.sqlite3");
        db.open();
        QSqlQuery query(db);
        query.prepare(sql);
        for (const QVariant& value : values) {
            query.addBindValue(value);
        }
        if (query.exec() && query.next()) {
            first = query.value(0);
        }
    }
    QSqlDatabase::removeDatabase(connection);
    return first;
}

void Installation::setSetting(const QString& name, const QString& value,
                              const QString& databaseFolder) {
    const QString update =
        u"update Settings set SettingValue = ? where SettingName = ? returning 1"_s;
    QCOMPARE(query(update, {value, name}, databaseFolder).toInt(), 1);
}

QProcess* Installation::startMonitor(const QString& answers, const QString& coreFault) {
    auto* monitor = monitors_.emplace_back(std::make_unique<QProcess>()).get();
    QProcessEnvironment env = environment;
    env.insert(u"HVX_ANSWERS"_s, answers);
    if (!coreFault.isEmpty()) {
        env.insert(u"HVX_CORE_FAULT"_s, coreFault);
    }
    monitor->setProcessEnvironment(env);
    monitor->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (withoutFileOverride && ::geteuid() == 0) {
        // Root passes file permissions by its capabilities; without them it meets them.
        monitor->start(u"setpriv"_s, {u"--bounding-set=-dac_override,-dac_read_search,-fowner"_s,
                                      u"--"_s, app + "/HvxMonitor"});
    } else {
        monitor->start(app + "/HvxMonitor", {});
    }
    monitor->waitForStarted();
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
    return readAll(dir.filePath(u"boxes.jsonl"_s));
}

QString Installation::log(const QString& logFolder) const {
    return readAll((logFolder.isEmpty() ? dir.filePath(u"data/halvex/help-desk"_s) : logFolder) +
                   "/monitorlog.txt");
}

}  // namespace hvx::test
