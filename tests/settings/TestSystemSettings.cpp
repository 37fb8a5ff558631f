#include "HelpDeskFixture.h"
#include "channel/RegFunctions.h"
#include "platform/MessageBoxes.h"
#include "settings/OldUnsentMessages.h"
#include "settings/SettingsRefresh.h"
#include "settings/SystemSettings.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

QString control(TestEnvironment& t, const char* name) {
    return GetRegValue(*t.ctx, t.ctx->controlsSection, QString::fromLatin1(name),
                       QStringLiteral("<missing>"));
}

}  // namespace

class TestSystemSettings : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void valuesGoToTheControlsSectionAsStored() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        db.setSetting(QStringLiteral("EmailSendIntervalMinutes"), QStringLiteral(" 7"));
        db.setSetting(QStringLiteral("MonitorCnnTolerance"), QStringLiteral("3.5"));
        db.setSetting(QStringLiteral("AutoCloseMonitorMinutes"), QStringLiteral("2.5"));
        db.setSetting(QStringLiteral("UseSLA"), QStringLiteral("True"));
        SystemSettings settings;
        QVERIFY(LoadSystemSettings(*t.ctx, settings));
        QCOMPARE(control(t, "EmailSendInterval"), QStringLiteral(" 7"));
        QCOMPARE(control(t, "CnnTolerance"), QStringLiteral("4"));
        QCOMPARE(settings.MonitorCnnTolerance, 4);
        QCOMPARE(settings.AutoCloseMonitorMinutes, 2);
        QCOMPARE(control(t, "UseSLAs"), QStringLiteral("1"));
        QVERIFY(t.errors().reports.isEmpty());
    }

    void booleanSettingWritesOneOrZero_data() {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("written");
        QTest::newRow("True") << "True"
                              << "1";
        QTest::newRow("-1") << "-1"
                            << "1";
        QTest::newRow("1") << "1"
                           << "1";
        QTest::newRow("False") << "False"
                               << "0";
        QTest::newRow("0") << "0"
                           << "0";
    }
    void booleanSettingWritesOneOrZero() {
        QFETCH(QString, stored);
        TestEnvironment t;
        HelpDeskFixture db(t);
        db.setSetting(QStringLiteral("UseSLA"), stored);
        SystemSettings settings;
        QVERIFY(LoadSystemSettings(*t.ctx, settings));
        QTEST(control(t, "UseSLAs"), "written");
    }

    void aMissingRowStopsTheLoadThere() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        SystemSettings settings;
        settings.MonitorCnnTolerance = 77;
        settings.MonitorStopMinutes = 100;
        db.deleteSetting(QStringLiteral("MonitorTicks"));
        db.setSetting(QStringLiteral("EmailReadIntervalMinutes"), QStringLiteral("11"));
        QVERIFY(!LoadSystemSettings(*t.ctx, settings));
        QCOMPARE(control(t, "EmailReadInterval"), QStringLiteral("11"));
        QCOMPARE(control(t, "MonitorTicks"), QStringLiteral("<missing>"));
        QCOMPARE(control(t, "CnnTolerance"), QStringLiteral("<missing>"));
        QCOMPARE(settings.MonitorCnnTolerance, 77);
        QCOMPARE(settings.MonitorStopMinutes, 100);
        QCOMPARE(t.errors().reports.size(), 1);
        QVERIFY(
            t.errors().reports.front().endsWith(QStringLiteral("(Code 11006 in HvxMonitor.exe)")));
    }

    void autoStartRowMattersOnlyToTheTrace() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        db.deleteSetting(QStringLiteral("AutoStartMonitor"));
        SystemSettings settings;
        QVERIFY(LoadSystemSettings(*t.ctx, settings));

        t.ctx->traceOn = true;
        db.setSetting(QStringLiteral("MonitorStopMinutes"), QStringLiteral("1320"));
        db.setSetting(QStringLiteral("MonitorStartMinutes"), QStringLiteral("360"));
        QVERIFY(!LoadSystemSettings(*t.ctx, settings));
        QCOMPARE(settings.MonitorStartMinutes, 360);
        QVERIFY(settings.ScheduledHoursOn);
        QCOMPARE(control(t, "CnnTolerance"), QString::number(settings.MonitorCnnTolerance));
        QCOMPARE(t.errors().reports.size(), 1);
        QVERIFY(t.errors().reports.front().startsWith(QStringLiteral("ERROR: ")));
    }

    void traceLineListsTheValues_data() {
        QTest::addColumn<QString>("stop");
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("end");
        QTest::newRow("past midnight") << "1500"
                                       << "75"
                                       << ",01:00,01:15,True";
        QTest::newRow("negative") << "-5"
                                  << "-90"
                                  << ",00:-05,-01:-30,True";
    }
    void traceLineListsTheValues() {
        QFETCH(QString, stop);
        QFETCH(QString, start);
        TestEnvironment t;
        HelpDeskFixture db(t);
        t.ctx->traceOn = true;
        db.setSetting(QStringLiteral("MonitorStopMinutes"), stop);
        db.setSetting(QStringLiteral("MonitorStartMinutes"), start);
        SystemSettings settings;
        QVERIFY(LoadSystemSettings(*t.ctx, settings));
        const QString line = t.errors().reports.last();
        QVERIFY2(line.startsWith(QStringLiteral("TRACE: Settings: ")), qPrintable(line));
        QFETCH(QString, end);
        QVERIFY2(line.endsWith(end), qPrintable(line));
    }

    void minutesAsTimeOfDay_data() {
        QTest::addColumn<int>("minutes");
        QTest::addColumn<QString>("text");
        QTest::newRow("1440") << 1440 << "24:00";
        QTest::newRow("1500") << 1500 << "01:00";
        QTest::newRow("75") << 75 << "01:15";
        QTest::newRow("0") << 0 << "00:00";
        QTest::newRow("480") << 480 << "08:00";
        QTest::newRow("1441") << 1441 << "00:01";
        QTest::newRow("-5") << -5 << "00:-05";
        QTest::newRow("-90") << -90 << "-01:-30";
        QTest::newRow("-600") << -600 << "-10:00";
    }
    void minutesAsTimeOfDay() {
        QFETCH(int, minutes);
        TestEnvironment t;
        QTEST(MinutesToHHMM(*t.ctx, minutes), "text");
    }

    void refreshIsDueAtTheSecondMinuteChange() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        SystemSettings settings;
        DateValue last;
        QStringList panel;
        const StatusBarWriter bar = [&](const QString& text, int) { panel.append(text); };
        t.clock.set(QTime(10, 0, 30));
        QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, bar), 1);
        QCOMPARE(last, t.clock.now());
        QCOMPARE(panel, QStringList({QStringLiteral("Refreshing System Settings..."), QString()}));
        for (const QTime& when : {QTime(10, 1, 0), QTime(10, 1, 59)}) {
            t.clock.set(when);
            QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, bar), 1);
            QCOMPARE(last.time(), QTime(10, 0, 30));
        }
        t.clock.set(QTime(10, 2, 0));
        QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, bar), 1);
        QCOMPARE(last.time(), QTime(10, 2, 0));
    }

    void refreshIsSkippedOrRefused() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        SystemSettings settings;
        DateValue last;
        const StatusBarWriter bar = [](const QString&, int) {};
        SaveRegValue(*t.ctx, t.ctx->controlsSection, QStringLiteral("State"), QStringLiteral("2"));
        QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, bar), 1);
        QVERIFY(last.isZero());
        QVERIFY(!settings.collection);

        SaveRegValue(*t.ctx, t.ctx->controlsSection, QStringLiteral("State"), QStringLiteral("1"));
        SaveRegValue(*t.ctx, t.ctx->controlsSection, QStringLiteral("CoreHasDBIssues"),
                     QStringLiteral("1"));
        t.ctx->databaseManager.reset();  // refused without touching the database
        QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, bar), 0);
        QVERIFY(last.isZero());
        QVERIFY(t.errors().reports.isEmpty());

        SaveRegValue(*t.ctx, t.ctx->controlsSection, QStringLiteral("CoreHasDBIssues"),
                     QStringLiteral("maybe"));
        QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, bar), 0);
        QVERIFY(
            t.errors().reports.last().endsWith(QStringLiteral("(Code 11114 in HvxMonitor.exe)")));
    }

    void aFailedConnectionIsTracedEvenWithTraceOff() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        t.ctx->databaseManager->CloseConnection(true);
        QVERIFY(QFile::remove(db.scratch.file()));
        SystemSettings settings;
        DateValue last;
        QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, [](const QString&, int) {}), 0);
        QVERIFY(!last.isZero());
        QVERIFY(t.errors().reports.contains(QStringLiteral(
            "TRACE: Database connection failed when refreshing the System Settings.")));
    }

    void scheduledHours_data() {
        QTest::addColumn<int>("stop");
        QTest::addColumn<int>("start");
        QTest::addColumn<QTime>("now");
        QTest::addColumn<bool>("outside");
        const QList<std::tuple<int, int, QTime, bool>> rows{
            {1320, 360, QTime(22, 1), true},  {1320, 360, QTime(5, 59), true},
            {1320, 360, QTime(6, 0), true},   {1320, 360, QTime(21, 59), false},
            {1320, 360, QTime(22, 0), false}, {1320, 360, QTime(6, 1), false},
            {60, 300, QTime(1, 0), true},     {60, 300, QTime(4, 59), true},
            {60, 300, QTime(0, 59), false},   {60, 300, QTime(5, 0), false},
            {480, 480, QTime(8, 0), false},   {480, 480, QTime(3, 0), false},
        };
        for (const auto& [stop, start, now, outside] : rows) {
            QTest::addRow("stop %d start %d at %s", stop, start,
                          qPrintable(now.toString(QStringLiteral("HH:mm"))))
                << stop << start << now << outside;
        }
    }
    void scheduledHours() {
        QFETCH(int, stop);
        QFETCH(int, start);
        QFETCH(QTime, now);
        TestEnvironment t;
        t.clock.set(QTime(now.hour(), now.minute(), 45));
        QTEST(IsOutsideScheduledHours(*t.ctx, stop, start), "outside");
    }
};

QTEST_GUILESS_MAIN(TestSystemSettings)
#include "TestSystemSettings.moc"
