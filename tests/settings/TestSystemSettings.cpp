#include "HelpDeskFixture.h"
#include "channel/RegFunctions.h"
#include "platform/MessageBoxes.h"
#include "settings/OldUnsentMessages.h"
#include "settings/SettingsRefresh.h"
#include "settings/SystemSettings.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include <algorithm>

using namespace hvx;
using namespace hvx::test;

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
        QCOMPARE(t.control("EmailSendInterval"), QStringLiteral(" 7"));
        QCOMPARE(t.control("CnnTolerance"), QStringLiteral("4"));
        QCOMPARE(settings.MonitorCnnTolerance, 4);
        QCOMPARE(settings.AutoCloseMonitorMinutes, 2);
        QCOMPARE(t.control("UseSLAs"), QStringLiteral("1"));
        QVERIFY(t.errors().reports.isEmpty());
    }

    // Which texts count as true is the conversion's own test; here, what the load writes.
    void booleanSettingWritesOneOrZero_data() {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("written");
        QTest::newRow("-1") << "-1"
                            << "1";
        QTest::newRow("False") << "False"
                               << "0";
    }
    void booleanSettingWritesOneOrZero() {
        QFETCH(QString, stored);
        TestEnvironment t;
        HelpDeskFixture db(t);
        db.setSetting(QStringLiteral("UseSLA"), stored);
        SystemSettings settings;
        QVERIFY(LoadSystemSettings(*t.ctx, settings));
        QTEST(t.control("UseSLAs"), "written");
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
        QCOMPARE(t.control("EmailReadInterval"), QStringLiteral("11"));
        QCOMPARE(t.control("MonitorTicks"), QStringLiteral("<missing>"));
        QCOMPARE(t.control("CnnTolerance"), QStringLiteral("<missing>"));
        QCOMPARE(settings.MonitorCnnTolerance, 77);
        QCOMPARE(settings.MonitorStopMinutes, 100);
        QCOMPARE(t.errors().reports.size(), 1);
    }

    // The first rows are read right after the collection's own query: the report must still
    // name the load, not the query.
    void aBrokenRowIsReportedWithTheLoadsCode_data() {
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("value");
        QTest::newRow("row 1 missing") << "AutoCloseMonitorMinutes" << QString();
        QTest::newRow("row 1 no number") << "AutoCloseMonitorMinutes"
                                         << "soon";
        QTest::newRow("row 2 missing") << "UseSLA" << QString();
        QTest::newRow("row 2 no Boolean") << "UseSLA"
                                          << "maybe";
        QTest::newRow("row 8 missing") << "MonitorTicks" << QString();
    }
    void aBrokenRowIsReportedWithTheLoadsCode() {
        QFETCH(QString, row);
        QFETCH(QString, value);
        TestEnvironment t;
        HelpDeskFixture db(t);
        if (value.isNull()) {
            db.deleteSetting(row);
        } else {
            db.setSetting(row, value);
        }
        SystemSettings settings;
        QVERIFY(!LoadSystemSettings(*t.ctx, settings));
        QCOMPARE(t.errors().reports.size(), 1);
        QVERIFY2(
            t.errors().reports.front().endsWith(QStringLiteral("(Code 11006 in HvxMonitor.exe)")),
            qPrintable(t.errors().reports.front()));
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
        QCOMPARE(t.control("CnnTolerance"), QString::number(settings.MonitorCnnTolerance));
        QCOMPARE(t.errors().reports.size(), 1);
        QVERIFY(t.errors().reports.front().startsWith(QStringLiteral("ERROR: ")));
    }

    void traceLineListsTheValues() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        t.ctx->traceOn = true;
        db.setSetting(QStringLiteral("MonitorStopMinutes"), QStringLiteral("-5"));
        db.setSetting(QStringLiteral("MonitorStartMinutes"), QStringLiteral("-90"));
        SystemSettings settings;
        QVERIFY(LoadSystemSettings(*t.ctx, settings));
        const QString line = t.errors().reports.last();
        QVERIFY2(line.startsWith(QStringLiteral("TRACE: Settings: ")), qPrintable(line));
        QVERIFY2(line.endsWith(QStringLiteral(",00:-05,-01:-30,True")), qPrintable(line));
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

    // Another writer holds the database: each refresh gives up after the one-second lock
    // wait and takes the failure path, so the tick that runs it never stalls for long. The
    // bound is loose for a loaded machine, and still far below the old five-second wait.
    void aLockedDatabaseFailsTheRefreshQuickly() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        QProcess holder;
        holder.start(QStringLiteral("sqlite3"), {db.scratch.file()});
        QVERIFY(holder.waitForStarted());
        holder.write(
            "BEGIN EXCLUSIVE;\nUPDATE Settings SET SettingValue = SettingValue;\n"
            ".print locked\n");
        QByteArray said;
        QTRY_VERIFY_WITH_TIMEOUT((said += holder.readAllStandardOutput()).contains("locked"),
                                 10'000);
        SystemSettings settings;
        const StatusBarWriter bar = [](const QString&, int) {};
        QElapsedTimer longest;
        qint64 worst = 0;
        for (int attempt = 0; attempt < 3; ++attempt) {
            DateValue last;  // due every time
            longest.start();
            QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, bar), 0);
            worst = std::max(worst, longest.elapsed());
        }
        QVERIFY2(worst < 2'500, qPrintable(QString::number(worst)));
        QVERIFY(holder.state() == QProcess::Running);

        holder.write("COMMIT;\n.quit\n");
        QVERIFY(holder.waitForFinished(10'000));
        DateValue last;
        QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, bar), 1);
    }

    void refreshIsSkippedOrRefused() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        SystemSettings settings;
        DateValue last;
        const StatusBarWriter bar = [](const QString&, int) {};
        t.setControl("State", QStringLiteral("2"));
        QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, bar), 1);
        QVERIFY(last.isZero());
        QVERIFY(!settings.collection);

        t.setControl("State", QStringLiteral("1"));
        t.setControl("CoreHasDBIssues", QStringLiteral("1"));
        t.ctx->databaseManager.reset();  // refused without touching the database
        QCOMPARE(RefreshSystemSettings(*t.ctx, settings, last, bar), 0);
        QVERIFY(last.isZero());
        QVERIFY(t.errors().reports.isEmpty());

        t.setControl("CoreHasDBIssues", QStringLiteral("maybe"));
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
