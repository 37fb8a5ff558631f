#pragma once

#include "XSession.h"

#include <QProcess>
#include <QTemporaryDir>

#include <memory>

namespace hvx::test {

// The real Monitor and core application in an application folder of their own, on a demo file
// database, with a private store and session, shown on the X session's display as an operator
// would see them (no unattended mode: the real windows and dialogs).
class MonitorOnScreen {
  public:
    explicit MonitorOnScreen(const QString& name);
    ~MonitorOnScreen();
    MonitorOnScreen(const MonitorOnScreen&) = delete;
    MonitorOnScreen& operator=(const MonitorOnScreen&) = delete;

    bool ready() const { return ready_; }
    QString folder() const { return app_; }
    // Where the Monitor keeps its log (and writes its support bundles).
    QString logFolder() const;
    // Runs one statement on the demo database.
    bool sql(const QString& statement) const;
    QString control(const QString& name) const;
    void setControl(const QString& name, const QString& value) const;
    // Moves the programs' clock forward by `seconds`, at once, while they run.
    void shiftClock(qint64 seconds) const;

    // Sets an environment variable for the programs started from now on.
    void setEnvironment(const QString& name, const QString& value);
    // Starts HvxMonitor at the given scale factor of the desktop.
    void start(qreal scale = 1.0);

  private:
    QByteArray reg(const QStringList& arguments) const;

    QTemporaryDir dir_;
    QString app_;
    QString bin_;
    QString session_;
    bool ready_ = false;
    QProcessEnvironment environment_;
    std::unique_ptr<QProcess> monitor_;
};

}  // namespace hvx::test
