#include "channel/RegFunctions.h"
#include "fakes/TestEnvironment.h"
#include "settings/SystemSettings.h"
#include "supervision/frmMonitor.h"

#include <QFile>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

class TestAlertsOnWindow : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // One batch per raising of the error indicator, however long the error stays up.
    void oneBatchPerRaisingOfTheErrorIndicator() {
        TestEnvironment t;
        QFile program(t.env.applicationFolder + QStringLiteral("/hvx-net-send"));
        QVERIFY(program.open(QIODevice::WriteOnly));
        program.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        program.close();
        const QString options = t.ctx->optionsSection;
        SaveRegValue(*t.ctx, options, QStringLiteral("AlertMsg"), QStringLiteral("Monitor error"));
        SaveRegValue(*t.ctx, options, QStringLiteral("AlertOp1"), QStringLiteral("supervisor1"));
        SaveRegValue(*t.ctx, options, QStringLiteral("AlertOp3"), QStringLiteral("help-desk-pc"));
        SystemSettings settings;
        // The window sends the alerts itself: nothing is wired here.
        frmMonitor window(*t.ctx, settings);
        const auto showError = [&](const char* info) {
            SaveRegValue(*t.ctx, t.ctx->controlsSection, QStringLiteral("ErrorInfo"),
                         QString::fromLatin1(info));
            window.ShowStatus();
        };

        showError("Mail server refused");
        for (int tick = 0; tick < 5; ++tick) {
            showError(tick % 2 == 0 ? "Mail server refused" : "Mail server still refused");
        }
        QCOMPARE(t.launcher.starts.size(), 2u);
        QCOMPARE(t.launcher.starts[0].arguments, QStringList({"supervisor1", "Monitor error"}));
        QCOMPARE(t.launcher.starts[1].arguments, QStringList({"help-desk-pc", "Monitor error"}));

        showError("");
        showError("");
        QCOMPARE(t.launcher.starts.size(), 2u);
        showError("Disk full");
        showError("Disk full");
        QCOMPARE(t.launcher.starts.size(), 4u);
    }
};

QTEST_MAIN(TestAlertsOnWindow)
#include "TestAlertsOnWindow.moc"
