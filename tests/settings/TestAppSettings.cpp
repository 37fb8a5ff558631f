#include "HelpDeskFixture.h"
#include "fakes/ErrorOf.h"
#include "settings/cAppSetting.h"
#include "settings/cAppSettings.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

// A help-desk database of the test's own.
struct Database {
    TestEnvironment t;
    HelpDeskFixture db{t};

    cAppSetting named(const QString& name) {
        cAppSetting setting(*t.ctx);
        setting.SetSettingName(name);
        return setting;
    }
    QVariant column(const char* column, const char* name) {
        return db.scalar(u"select %1 from Settings where SettingName = '%2'"_s.arg(
            QLatin1String(column), QLatin1String(name)));
    }
    // A live row whose other columns are null.
    void insertBare(const char* name) {
        db.execute(
            u"insert into Settings (SettingName, SettingType, SettingValue, Deleted, "
            "LastModified) values ('%1', null, null, 0, null)"_s.arg(QLatin1String(name)));
    }
};

}  // namespace

// Runs on SQLite, and on PostgreSQL through ODBC in the integration runs.
class TestAppSettings : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void fetchLeavesAMissingNameAloneAndReadsNullsAsEmpty() {
        Database d;
        cAppSetting setting = d.named(u"NoSuchSetting"_s);
        setting.SetSettingType(u"kept"_s);
        setting.SetSettingValue(u"value"_s);
        setting.SetDeleted(true);
        setting.SetLastModified(d.t.clock.now());
        QVERIFY(!setting.Fetch());
        QCOMPARE(setting.SettingType(), u"kept"_s);
        QCOMPARE(setting.SettingValue().toString(), u"value"_s);
        QVERIFY(setting.Deleted());
        QCOMPARE(setting.LastModified(), d.t.clock.now());

        d.insertBare("Bare");
        setting.SetSettingName(u"Bare"_s);
        QVERIFY(setting.Fetch());
        QCOMPARE(setting.SettingType(), QString());
        QVERIFY(setting.SettingValue().toString().isEmpty());
        QVERIFY(setting.LastModified().isZero());
        // The zero stamp matches no row, so the update reports the conflict.
        QVERIFY(!setting.UpdateItem());
        QCOMPARE(d.t.errors().reports.size(), 1);
    }

    void sameObjectUpdatesTwiceAndStampsCompareEqual() {
        Database d;
        cAppSetting setting = d.named(u"Colour"_s);
        setting.SetSettingValue(u"red"_s);
        setting.SetDeleted(true);
        QVERIFY(setting.InsertItem());
        QCOMPARE(setting.LastModified(), d.t.clock.now());
        QCOMPARE(d.column("Deleted", "Colour").toInt(), 0);
        for (const char* colour : {"green", "blue"}) {
            d.t.clock.advanceSeconds(1);
            setting.SetSettingValue(QString::fromLatin1(colour));
            QVERIFY(setting.UpdateItem());
        }
        QVERIFY(d.t.errors().reports.isEmpty());

        cAppSetting again = d.named(u"Colour"_s);
        QVERIFY(again.Fetch());
        QCOMPARE(again.SettingValue().toString(), u"blue"_s);
        QCOMPARE(again.LastModified(), setting.LastModified());
        QVERIFY(!again.Deleted());
    }

    void theSecondOfTwoWritersConflicts() {
        Database d;
        cAppSetting first = d.named(u"MonitorTicks"_s);
        cAppSetting second = first;
        QVERIFY(first.Fetch());
        QVERIFY(second.Fetch());
        d.t.clock.advanceSeconds(5);
        first.SetSettingValue(u"30"_s);
        QVERIFY(first.UpdateItem());
        const DateValue stampBefore = second.LastModified();
        second.SetSettingValue(u"90"_s);
        QVERIFY(!second.UpdateItem());
        QCOMPARE(second.LastModified(), stampBefore);
        QCOMPARE(d.t.errors().reports,
                 QStringList{u"ERROR: The MonitorTicks setting change to 90 wasn't saved. It was "
                             "probably modified by another user or process since you selected "
                             "it."_s});
        QCOMPARE(d.column("SettingValue", "MonitorTicks").toString(), u"30"_s);
    }

    // A deleted row exists for CheckExists, but Find leaves it out.
    void findLoadsLiveRowsInOrder() {
        Database d;
        d.db.execute(u"update Settings set Deleted = 1 where SettingName = 'UseSLA'"_s);
        d.db.setSettingNull(u"MonitorTicks"_s);
        cAppSetting deleted = d.named(u"UseSLA"_s);
        QVERIFY(deleted.CheckExists());

        cAppSettings settings(*d.t.ctx);
        QVERIFY(settings.Find());
        QCOMPARE(settings.Count(),
                 d.db.scalar(u"select count(*) from Settings where Deleted = 0"_s).toInt());
        QString previous;
        for (const auto& item : settings) {
            QVERIFY2(previous.compare(item->SettingName(), Qt::CaseInsensitive) < 0,
                     qPrintable(item->SettingName()));
            previous = item->SettingName();
        }
        QCOMPARE(settings.Item(u"MONITORTICKS"_s)->SettingName(), u"MonitorTicks"_s);
        QVERIFY(settings.Item(u"monitorticks"_s)->SettingValue().toString().isEmpty());
        QCOMPARE(errorOf([&] { settings.Item(u"UseSLA"_s); }), err::InvalidArgument);
        // Shared items: a change through Item is the collection's.
        settings.Item(u"DBVersion"_s)->SetSettingValue(u"99"_s);
        QCOMPARE(settings.Item(u"dbversion"_s)->SettingValue().toString(), u"99"_s);

        QVERIFY(deleted.DeleteItem());
        QVERIFY(!deleted.CheckExists());
    }

    void findWithAnOrderTwiceAndOnNamesDifferingInCase() {
        Database d;
        cAppSettings settings(*d.t.ctx);
        QVERIFY(settings.Find(u"SettingType, SettingName desc"_s));
        QString previousType;
        QString previousName;
        for (const auto& item : settings) {
            const int byType = previousType.compare(item->SettingType());
            QVERIFY(byType < 0 || (byType == 0 && previousName.compare(item->SettingName()) > 0));
            previousType = item->SettingType();
            previousName = item->SettingName();
        }
        const int loaded = settings.Count();
        QCOMPARE(errorOf([&] { settings.Find(); }), err::KeyAlreadyInCollection);
        QCOMPARE(settings.Count(), loaded);

        d.insertBare("MONITORTICKS");
        cAppSettings clashing(*d.t.ctx);
        QCOMPARE(errorOf([&] { clashing.Find(); }), err::KeyAlreadyInCollection);
    }
};

QTEST_GUILESS_MAIN(TestAppSettings)
#include "TestAppSettings.moc"
