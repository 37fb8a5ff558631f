// The main window on a test environment, for the tests of its loop and its status display.
#pragma once

#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"
#include "settings/SystemSettings.h"
#include "supervision/StatusPanel.h"
#include "supervision/frmMonitor.h"

#include <QRegularExpression>

#include <memory>
#include <optional>

namespace hvx::test {

inline const QString kTitle = QStringLiteral("Help Desk Monitor");
inline const QString kCoreCaption = QStringLiteral("Help Desk Monitor Timer");

// A window on a test environment, with the settings already fresh (unless the test starts the
// loop otherwise) so that a tick does not need the database, and an executable where the core
// application is looked for.
struct Rig {
    explicit Rig(const std::optional<MonitorLoopState>& start = std::nullopt) {
        t.ctx->applicationTitle = kTitle;
        t.ctx->coreWindowCaption = kCoreCaption;
        writeScript(t.folder.filePath(QStringLiteral("HvxMonCore")), {});
        window = std::make_unique<frmMonitor>(
            *t.ctx, settings,
            start.value_or(MonitorLoopState{.LastSettingsRefresh = t.clock.now()}));
    }
    MonitorLoopView loop() const { return window->loopState(); }
    StatusPanel* panel(int number) const {
        return window->findChild<StatusPanel*>(QStringLiteral("StatusBar1Panel%1").arg(number));
    }
    void set(const char* name, const char* value) {
        t.setControl(name, QString::fromLatin1(value));
    }
    QString get(const char* name) { return t.control(name); }
    void tick(int seconds = 1) {
        t.clock.advanceSeconds(seconds);
        window->Timer1_Timer();
    }
    // What the loop wrote to the trace, in order.
    QStringList traces() {
        static const QRegularExpression kTrace(QStringLiteral("^TRACE: "));
        return t.errors().reports.filter(kTrace).replaceInStrings(kTrace, QString());
    }

    TestEnvironment t;
    SystemSettings settings;
    std::unique_ptr<frmMonitor> window;
};

}  // namespace hvx::test
