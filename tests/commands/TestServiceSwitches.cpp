#include "commands/ServiceSwitches.h"
#include "fakes/TestEnvironment.h"
#include "platform/RuntimeError.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace hvx;
using namespace hvx::test;

class TestServiceSwitches : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // The old-messages check stores codes of its own before the write; a failed write is still
    // the Send Email handler's error. `sendingWasOff`: ticking, after the check.
    void aFailedSendEmailWriteIsReported_data() {
        QTest::addColumn<bool>("sendingWasOff");
        QTest::newRow("unticking") << false;
        QTest::newRow("ticking") << true;
    }
    void aFailedSendEmailWriteIsReported() {
        QFETCH(bool, sendingWasOff);
        TestEnvironment t;
        t.env.registryStore = nullptr;
        t.ctx->stop.sendingEmail = sendingWasOff;
        bool ignoreClick = false;
        int checks = 0;
        const auto check = [&] {
            ++checks;
            t.ctx->procedureCode = 11121;
            return 1;
        };
        applySendEmailSwitch(*t.ctx, ignoreClick, sendingWasOff, check, [] { QFAIL("untick"); });
        QCOMPARE(checks, sendingWasOff ? 1 : 0);
        QCOMPARE(t.errors().ErrorNumber(), err::CannotCreateComponent);
        QCOMPARE(t.errors().reports.size(), 1);
        QVERIFY2(t.errors().reports.front().endsWith(u"(Code 11125 in HvxMonitor.exe)"_s),
                 qPrintable(t.errors().reports.front()));
        QVERIFY(!ignoreClick);
    }
};

QTEST_GUILESS_MAIN(TestServiceSwitches)
#include "TestServiceSwitches.moc"
