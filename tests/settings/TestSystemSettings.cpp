#include "HelpDeskFixture.h"
#include "settings/SettingsRefresh.h"
#include "settings/SystemSettings.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

// A help-desk database of the test's own and the settings loaded from it.
struct Loading {
    TestEnvironment t;
    HelpDeskFixture db{t};
    SystemSettings settings;
    QStringList panel;

    bool load() { return LoadSystemSettings(*t.ctx, settings); }
    int refresh(DateValue& last) {
        return RefreshSystemSettings(*t.ctx, settings, last,
                                     [this](const QString& text, int) { panel.append(text); });
    }
};

}  // namespace

class TestSystemSettings : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // Texts reach the Controls section unchanged, blanks kept; numbers are rounded half to even.
    void valuesGoToTheControlsSectionAsStored_data() {
        QTest::addColumn<QString>("useSla");
        QTest::addColumn<QString>("written");
        QTest::newRow("True") << u"True"_s << "1";
        QTest::newRow("-1") << u"-1"_s << "1";
        QTest::newRow("1") << u"1"_s << "1";
        QTest::newRow("False") << u"False"_s << "0";
    }
    void valuesGoToTheControlsSectionAsStored() {
        QFETCH(QString, useSla);
        Loading s;
        s.db.setSetting(u"EmailSendIntervalMinutes"_s, u" 7"_s);
        s.db.setSetting(u"MonitorCnnTolerance"_s, u"3.5"_s);
        s.db.setSetting(u"AutoCloseMonitorMinutes"_s, u"2.5"_s);
        s.db.setSetting(u"UseSLA"_s, useSla);
        QVERIFY(s.load());
        QCOMPARE(s.t.control("EmailSendInterval"), u" 7"_s);
        QCOMPARE(s.t.control("CnnTolerance"), u"4"_s);
        QCOMPARE(s.settings.AutoCloseMonitorMinutes, 2);
        QTEST(s.t.control("UseSLAs"), "written");
    }

    // The load stops at the broken row: the rows before it are applied, the rest are not. The
    // first rows are read right after the collection's own query: the report must still name
    // the load, not the query.
    void aBrokenRowStopsTheLoadThere_data() {
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("emailReadInterval");
        const QString missing = u"<missing>"_s;
        QTest::newRow("row 1 missing") << "AutoCloseMonitorMinutes" << QString() << missing;
        QTest::newRow("row 1 no number") << "AutoCloseMonitorMinutes" << u"soon"_s << missing;
        QTest::newRow("row 2 missing") << "UseSLA" << QString() << missing;
        QTest::newRow("row 2 no Boolean") << "UseSLA" << u"maybe"_s << missing;
        QTest::newRow("row 8 missing") << "MonitorTicks" << QString() << u"11"_s;
    }
    void aBrokenRowStopsTheLoadThere() {
        QFETCH(QString, row);
        QFETCH(QString, value);
        Loading s;
        s.settings.MonitorCnnTolerance = 77;
        s.db.setSetting(u"EmailReadIntervalMinutes"_s, u"11"_s);
        if (value.isNull()) {
            s.db.deleteSetting(row);
        } else {
            s.db.setSetting(row, value);
        }
        QVERIFY(!s.load());
        QTEST(s.t.control("EmailReadInterval"), "emailReadInterval");
        QCOMPARE(s.t.control("CnnTolerance"), u"<missing>"_s);
        QCOMPARE(s.settings.MonitorCnnTolerance, 77);
        QCOMPARE(s.t.errors().reports.size(), 1);
        QVERIFY2(s.t.errors().reports.front().endsWith(u"(Code 11006 in HvxMonitor.exe)"_s),
                 qPrintable(s.t.errors().reports.front()));
    }

    // The two times of day end the trace line, then whether scheduled hours are on.
    void theTraceLine_data() {
        QTest::addColumn<int>("stop");
        QTest::addColumn<int>("start");
        QTest::addColumn<QString>("end");
        QTest::newRow("negative") << -5 << -90 << u",00:-05,-01:-30,True"_s;
        QTest::newRow("a day and more") << 1440 << 1500 << u",24:00,01:00,True"_s;
        QTest::newRow("whole hours back, a minute past a day")
            << -600 << 1441 << u",-10:00,00:01,True"_s;
        QTest::newRow("the same time") << 75 << 75 << u",01:15,01:15,False"_s;
    }
    void theTraceLine() {
        QFETCH(int, stop);
        QFETCH(int, start);
        QFETCH(QString, end);
        Loading s;
        s.t.ctx->traceOn = true;
        s.db.setSetting(u"MonitorStopMinutes"_s, QString::number(stop));
        s.db.setSetting(u"MonitorStartMinutes"_s, QString::number(start));
        QVERIFY(s.load());
        QVERIFY2(s.t.errors().reports.last().endsWith(end),
                 qPrintable(s.t.errors().reports.last()));
    }

    // Only the trace reads it, after every value was applied.
    void theAutoStartRowMattersOnlyToTheTrace() {
        Loading s;
        s.db.deleteSetting(u"AutoStartMonitor"_s);
        s.db.setSetting(u"MonitorStartMinutes"_s, u"360"_s);
        QVERIFY(s.load());
        s.t.ctx->traceOn = true;
        SystemSettings fresh;
        QVERIFY(!LoadSystemSettings(*s.t.ctx, fresh));
        QCOMPARE(fresh.MonitorStartMinutes, 360);
        QVERIFY(s.t.errors().reports.last().startsWith(u"ERROR: "_s));
    }

    void refreshIsDueAtTheSecondMinuteChange() {
        Loading s;
        DateValue last;
        s.t.clock.set(QTime(10, 0, 30));
        QCOMPARE(s.refresh(last), 1);
        QCOMPARE(last, s.t.clock.now());
        QCOMPARE(s.panel, QStringList({u"Refreshing System Settings..."_s, QString()}));
        for (const QTime& when : {QTime(10, 1, 0), QTime(10, 1, 59)}) {
            s.t.clock.set(when);
            QCOMPARE(s.refresh(last), 1);
            QCOMPARE(last.time(), QTime(10, 0, 30));
        }
        s.t.clock.set(QTime(10, 2, 0));
        QCOMPARE(s.refresh(last), 1);
        QCOMPARE(last.time(), QTime(10, 2, 0));
    }

    void refreshIsSkippedOrRefused() {
        Loading s;
        DateValue last;
        s.t.setControl("State", u"2"_s);
        QCOMPARE(s.refresh(last), 1);
        QVERIFY(last.isZero());
        QVERIFY(!s.settings.collection);

        s.t.setControl("State", u"1"_s);
        s.t.setControl("CoreHasDBIssues", u"maybe"_s);
        QCOMPARE(s.refresh(last), 0);
        QVERIFY(s.t.errors().reports.last().endsWith(u"(Code 11114 in HvxMonitor.exe)"_s));
    }

    void aFailedConnectionIsTracedEvenWithTraceOff() {
        Loading s;
        s.t.ctx->databaseManager->CloseConnection(true);
        QVERIFY(QFile::remove(s.db.scratch.file()));
        DateValue last;
        QCOMPARE(s.refresh(last), 0);
        QVERIFY(!last.isZero());
        QVERIFY(s.t.errors().reports.contains(
            u"TRACE: Database connection failed when refreshing the System Settings."_s));
    }

    // Times of day, each at 45 seconds past the minute.
    void scheduledHours_data() {
        QTest::addColumn<int>("stop");
        QTest::addColumn<int>("start");
        QTest::addColumn<QStringList>("outside");
        QTest::addColumn<QStringList>("inside");
        QTest::newRow("stop 22:00, start 06:00")
            << 1320 << 360 << QStringList{"22:01", "06:00"} << QStringList{"22:00", "06:01"};
        QTest::newRow("stop 01:00, start 05:00")
            << 60 << 300 << QStringList{"01:00", "04:59"} << QStringList{"00:59", "05:00"};
        QTest::newRow("the same time") << 480 << 480 << QStringList() << QStringList{"08:00"};
    }
    void scheduledHours() {
        QFETCH(int, stop);
        QFETCH(int, start);
        QFETCH(QStringList, outside);
        QFETCH(QStringList, inside);
        TestEnvironment t;
        for (const QString& time : outside + inside) {
            t.clock.set(QTime::fromString(time + u":45"_s));
            QVERIFY2(IsOutsideScheduledHours(*t.ctx, stop, start) == outside.contains(time),
                     qPrintable(time));
        }
    }
};

QTEST_GUILESS_MAIN(TestSystemSettings)
#include "TestSystemSettings.moc"
