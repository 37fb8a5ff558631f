#include "HelpDeskFixture.h"
#include "fakes/ErrorOf.h"
#include "settings/cAppSetting.h"
#include "settings/cAppSettings.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

DateValue at(int hour, int minute, int second) {
    return DateValue::fromParts({2026, 11, 23}, {hour, minute, second});
}

}  // namespace

// Runs on SQLite, and on PostgreSQL through ODBC in the integration runs.
class TestAppSettings : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void fetchOfAMissingNameChangesNothing() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        cAppSetting setting(*t.ctx);
        setting.SetSettingName(QStringLiteral("NoSuchSetting"));
        setting.SetSettingType(QStringLiteral("kept"));
        setting.SetSettingValue(QStringLiteral("value"));
        setting.SetDeleted(true);
        setting.SetLastModified(at(9, 0, 0));
        QVERIFY(!setting.Fetch());
        QCOMPARE(setting.SettingType(), QStringLiteral("kept"));
        QCOMPARE(setting.SettingValue().toString(), QStringLiteral("value"));
        QVERIFY(setting.Deleted());
        QCOMPARE(setting.LastModified(), at(9, 0, 0));
        QCOMPARE(t.ctx->procedureCode, 11019);
    }

    void nullsReadAsEmptyAndAsTheZeroDate() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        db.execute(
            QStringLiteral("insert into Settings (SettingName, SettingType, SettingValue, "
                           "Deleted, LastModified) values ('Bare', null, null, 0, null)"));
        cAppSetting setting(*t.ctx);
        setting.SetSettingName(QStringLiteral("Bare"));
        QVERIFY(setting.Fetch());
        QCOMPARE(setting.SettingType(), QString());
        QVERIFY(setting.SettingValue().toString().isEmpty());
        QVERIFY(setting.LastModified().isZero());
        // The zero stamp matches no row, so the update reports the conflict.
        setting.SetSettingValue(QStringLiteral("new"));
        QVERIFY(!setting.UpdateItem());
        QCOMPARE(t.errors().reports.size(), 1);
    }

    void sameObjectUpdatesTwiceAndStampsCompareEqual() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        cAppSetting setting(*t.ctx);
        setting.SetSettingName(QStringLiteral("Colour"));
        setting.SetSettingType(QStringLiteral("Text"));
        setting.SetSettingValue(QStringLiteral("red"));
        setting.SetDeleted(true);
        QVERIFY(setting.InsertItem());
        QCOMPARE(setting.LastModified(), t.clock.now());
        QCOMPARE(
            db.scalar(QStringLiteral("select Deleted from Settings where SettingName = 'Colour'"))
                .toInt(),
            0);
        t.clock.advanceSeconds(1);
        setting.SetSettingValue(QStringLiteral("green"));
        QVERIFY(setting.UpdateItem());
        t.clock.advanceSeconds(1);
        setting.SetSettingValue(QStringLiteral("blue"));
        QVERIFY(setting.UpdateItem());
        QVERIFY(t.errors().reports.isEmpty());

        cAppSetting again(*t.ctx);
        again.SetSettingName(QStringLiteral("Colour"));
        QVERIFY(again.Fetch());
        QCOMPARE(again.SettingValue().toString(), QStringLiteral("blue"));
        QCOMPARE(again.LastModified(), setting.LastModified());
        QVERIFY(!again.Deleted());
    }

    void theSecondOfTwoWritersConflicts() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        cAppSetting first(*t.ctx);
        cAppSetting second(*t.ctx);
        first.SetSettingName(QStringLiteral("MonitorTicks"));
        second.SetSettingName(QStringLiteral("MonitorTicks"));
        QVERIFY(first.Fetch());
        QVERIFY(second.Fetch());
        t.clock.advanceSeconds(5);
        first.SetSettingValue(QStringLiteral("30"));
        QVERIFY(first.UpdateItem());
        const DateValue stampBefore = second.LastModified();
        second.SetSettingValue(QStringLiteral("90"));
        QVERIFY(!second.UpdateItem());
        QCOMPARE(second.LastModified(), stampBefore);
        QCOMPARE(t.errors().reports,
                 QStringList{QStringLiteral("ERROR: The MonitorTicks setting change to 90 wasn't "
                                            "saved. It was probably modified by another user or "
                                            "process since you selected it.")});
        QCOMPARE(db.scalar(QStringLiteral("select SettingValue from Settings where SettingName = "
                                          "'MonitorTicks'"))
                     .toString(),
                 QStringLiteral("30"));
    }

    void existsIgnoresDeletedAndDeleteRemoves() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        db.execute(QStringLiteral("update Settings set Deleted = 1 where SettingName = 'UseSLA'"));
        cAppSetting setting(*t.ctx);
        setting.SetSettingName(QStringLiteral("UseSLA"));
        QVERIFY(setting.CheckExists());
        QVERIFY(setting.DeleteItem());
        QVERIFY(!setting.CheckExists());
        setting.SetSettingValue(QStringLiteral("1"));
        QVERIFY(!setting.UpdateItem());
    }

    void findLoadsLiveRowsInOrder() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        db.execute(QStringLiteral("update Settings set Deleted = 1 where SettingName = 'UseSLA'"));
        db.execute(QStringLiteral(
            "update Settings set SettingValue = null where SettingName = 'MonitorTicks'"));
        const auto total =
            db.scalar(QStringLiteral("select count(*) from Settings where Deleted = 0")).toInt();

        cAppSettings settings(*t.ctx);
        QVERIFY(settings.Find());
        QCOMPARE(settings.Count(), total);
        QString previous;
        for (const auto& item : settings) {
            QVERIFY2(previous.compare(item->SettingName(), Qt::CaseInsensitive) < 0,
                     qPrintable(item->SettingName()));
            previous = item->SettingName();
        }
        QCOMPARE(settings.Item(QStringLiteral("MONITORTICKS"))->SettingName(),
                 QStringLiteral("MonitorTicks"));
        QVERIFY(settings.Item(QStringLiteral("monitorticks"))->SettingValue().toString().isEmpty());
        QCOMPARE(settings.Item(1)->SettingName(), settings.begin()->get()->SettingName());
        QCOMPARE(errorOf([&] { settings.Item(QStringLiteral("UseSLA")); }), err::InvalidArgument);
        // Shared items: a change through Item is the collection's.
        settings.Item(QStringLiteral("DBVersion"))->SetSettingValue(QStringLiteral("99"));
        QCOMPARE(settings.Item(QStringLiteral("dbversion"))->SettingValue().toString(),
                 QStringLiteral("99"));
    }

    void findWithAnOrderAndTwiceOnOneCollection() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        cAppSettings settings(*t.ctx);
        QVERIFY(settings.Find(QStringLiteral("SettingType, SettingName desc")));
        QString previousType;
        QString previousName;
        for (const auto& item : settings) {
            const int byType = previousType.compare(item->SettingType());
            QVERIFY(byType <= 0);
            if (byType == 0) {
                QVERIFY(previousName.compare(item->SettingName()) > 0);
            }
            previousType = item->SettingType();
            previousName = item->SettingName();
        }
        const int loaded = settings.Count();
        QCOMPARE(errorOf([&] { settings.Find(); }), err::KeyAlreadyInCollection);
        QCOMPARE(settings.Count(), loaded);
    }

    void namesDifferingOnlyInCaseFailTheLoad() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        db.execute(QStringLiteral(
            "insert into Settings (SettingName, SettingType, SettingValue, "
            "Deleted, LastModified) values ('MONITORTICKS', 'Number', '1', 0, null)"));
        cAppSettings settings(*t.ctx);
        QCOMPARE(errorOf([&] { settings.Find(); }), err::KeyAlreadyInCollection);
    }

    void collectionPositionsAndRemoval() {
        TestEnvironment t;
        cAppSettings settings(*t.ctx);
        settings.Add(QStringLiteral("B"), {}, QStringLiteral("2"), false, {});
        settings.Add(QStringLiteral("A"), {}, QStringLiteral("1"), false, {});
        QCOMPARE(settings.Item(2)->SettingName(), QStringLiteral("A"));
        settings.Remove(QStringLiteral("b"));
        QCOMPARE(settings.Count(), 1);
        QCOMPARE(settings.Item(1)->SettingName(), QStringLiteral("A"));
        QVERIFY_THROWS_EXCEPTION(RuntimeError, settings.Item(2));
        QVERIFY_THROWS_EXCEPTION(RuntimeError, settings.Remove(QStringLiteral("B")));
        settings.Add(QStringLiteral("b"), {}, {}, false, {});
    }
};

QTEST_GUILESS_MAIN(TestAppSettings)
#include "TestAppSettings.moc"
