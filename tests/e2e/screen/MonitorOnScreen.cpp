#include "MonitorOnScreen.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

namespace hvx::test {

namespace {

constexpr int kToolTimeoutMs = 30000;

}  // namespace

MonitorOnScreen::MonitorOnScreen(const QString& name)
    : bin_(qEnvironmentVariable("HVX_BIN_DIR")),
      session_(QStringLiteral("%1-%2").arg(name).arg(QCoreApplication::applicationPid())) {
    app_ = dir_.filePath(QStringLiteral("app"));
    QDir().mkpath(app_);
    for (const char* program : {"HvxMonitor", "HvxMonCore"}) {
        QFile::copy(bin_ + QLatin1Char('/') + QLatin1String(program),
                    app_ + QLatin1Char('/') + QLatin1String(program));
    }
    environment_ = QProcessEnvironment::systemEnvironment();
    environment_.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment_.insert(QStringLiteral("HVX_REGISTRY"),
                        dir_.filePath(QStringLiteral("registry.sqlite3")));
    environment_.insert(QStringLiteral("HVX_SESSION"), session_);
    environment_.insert(QStringLiteral("XDG_DATA_HOME"), dir_.filePath(QStringLiteral("data")));
    environment_.insert(QStringLiteral("HVX_CLOCK_SHIFT_FILE"),
                        dir_.filePath(QStringLiteral("clock-shift")));
    // The uptime's decimal separator follows the locale: one known locale.
    environment_.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment_.remove(QStringLiteral("HVX_UNATTENDED"));
    shiftClock(0);
    QProcess setup;
    setup.start(bin_ + QStringLiteral("/hvx-dbsetup"),
                {QStringLiteral("--db-ini"), app_, QStringLiteral("--demo")});
    ready_ = setup.waitForFinished(kToolTimeoutMs) && setup.exitCode() == 0;
}

MonitorOnScreen::~MonitorOnScreen() {
    if (monitor_ && monitor_->state() != QProcess::NotRunning) {
        monitor_->kill();
        monitor_->waitForFinished(5000);
    }
    // A core application left running would outlive the folder: the close command ends it.
    setControl(QStringLiteral("Command"), QStringLiteral("5"));
}

QString MonitorOnScreen::logFolder() const {
    return dir_.filePath(QStringLiteral("data/halvex/help-desk"));
}

void MonitorOnScreen::setEnvironment(const QString& name, const QString& value) {
    environment_.insert(name, value);
}

bool MonitorOnScreen::sql(const QString& statement) const {
    QProcess sqlite;
    sqlite.start(QStringLiteral("sqlite3"),
                 {app_ + QStringLiteral("/helpdesk.sqlite3"), statement});
    return sqlite.waitForFinished(kToolTimeoutMs) && sqlite.exitCode() == 0;
}

QByteArray MonitorOnScreen::reg(const QStringList& arguments) const {
    QProcess tool;
    tool.setProcessEnvironment(environment_);
    tool.start(bin_ + QStringLiteral("/hvx-reg"), arguments);
    tool.waitForFinished(kToolTimeoutMs);
    return tool.readAllStandardOutput();
}

QString MonitorOnScreen::control(const QString& name) const {
    return QString::fromUtf8(reg({QStringLiteral("get"), QStringLiteral("Controls"), name}))
        .trimmed();
}

void MonitorOnScreen::setControl(const QString& name, const QString& value) const {
    reg({QStringLiteral("set"), QStringLiteral("Controls"), name, value});
}

void MonitorOnScreen::shiftClock(qint64 seconds) const {
    QFile file(dir_.filePath(QStringLiteral("clock-shift")));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(QByteArray::number(seconds));
    }
}

void MonitorOnScreen::start(qreal scale) {
    QProcessEnvironment environment = environment_;
    if (scale != 1.0) {
        environment.insert(QStringLiteral("QT_SCALE_FACTOR"), QString::number(scale));
    }
    monitor_ = std::make_unique<QProcess>();
    monitor_->setProcessEnvironment(environment);
    monitor_->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    monitor_->start(app_ + QStringLiteral("/HvxMonitor"), {});
    monitor_->waitForStarted();
}

}  // namespace hvx::test
