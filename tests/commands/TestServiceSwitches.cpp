#include "commands/ServiceSwitches.h"
#include "fakes/TestEnvironment.h"
#include "platform/RuntimeError.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;

class TestServiceSwitches : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // The old-messages check stores codes of its own before the write; a failed write is still
    // the Send Email handler's error.
    void aFailedSendEmailWriteIsReported_data() {
        QTest::addColumn<bool>("sendingWasOff");
        QTest::addColumn<bool>("ticked");
        QTest::newRow("unticking") << false << false;
        QTest::newRow("ticking after the check") << true << true;
    }
    void aFailedSendEmailWriteIsReported() {
        QFETCH(bool, sendingWasOff);
        QFETCH(bool, ticked);
        TestEnvironment t;
        t.env.registryStore = nullptr;
        t.ctx->stop.sendingEmail = sendingWasOff;
        bool ignoreClick = false;
        int checks = 0;
        applySendEmailSwitch(
            *t.ctx, ignoreClick, ticked,
            [&] {
                ++checks;
                t.ctx->procedureCode = 11121;
                return 1;
            },
            [] { QFAIL("nothing was cancelled"); });
        QCOMPARE(checks, sendingWasOff ? 1 : 0);
        QCOMPARE(t.errors().reports.size(), 1);
        QCOMPARE(t.errors().ErrorNumber(), err::CannotCreateComponent);
        QVERIFY2(
            t.errors().reports.front().endsWith(QStringLiteral("(Code 11125 in HvxMonitor.exe)")),
            qPrintable(t.errors().reports.front()));
        QVERIFY(!ignoreClick);
    }
};

QTEST_GUILESS_MAIN(TestServiceSwitches)
#include "TestServiceSwitches.moc"
