#include "platform/DateValue.h"

#include <QTest>

using namespace hvx;

namespace {

DateValue at(int year, int month, int day, int hour, int minute, int second) {
    return DateValue::fromParts({year, month, day}, {hour, minute, second});
}

}  // namespace

class TestDateValue : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void zeroDateIsThirtiethOfDecember1899() {
        QCOMPARE(DateValue::zero().date(), QDate(1899, 12, 30));
        QCOMPARE(DateValue::zero().time(), QTime(0, 0));
        QCOMPARE(at(1900, 1, 1, 12, 0, 0).serial(), 2.5);
        QCOMPARE(DateValue::fromSerial(2.5), at(1900, 1, 1, 12, 0, 0));
        QCOMPARE(DateValue::fromSerial(-1.25), at(1899, 12, 28, 18, 0, 0));
        QCOMPARE(DateValue::fromSerial(-1.25).serial(), -1.25);
    }

    void differencesCountBoundaries_data() {
        QTest::addColumn<QTime>("from");
        QTest::addColumn<QTime>("to");
        QTest::addColumn<qint64>("seconds");
        QTest::addColumn<qint64>("minutes");
        QTest::addColumn<qint64>("hours");
        QTest::newRow("crosses a minute")
            << QTime(10, 0, 59) << QTime(10, 1, 0) << 1LL << 1LL << 0LL;
        QTest::newRow("within a minute")
            << QTime(10, 0, 0) << QTime(10, 0, 59) << 59LL << 0LL << 0LL;
        QTest::newRow("crosses an hour")
            << QTime(9, 59, 59) << QTime(10, 0, 0) << 1LL << 1LL << 1LL;
        QTest::newRow("backwards") << QTime(10, 1, 0) << QTime(10, 0, 59) << -1LL << -1LL << 0LL;
    }
    void differencesCountBoundaries() {
        QFETCH(QTime, from);
        QFETCH(QTime, to);
        const QDate day(2026, 11, 23);
        const auto a = DateValue::fromParts(day, from);
        const auto b = DateValue::fromParts(day, to);
        QTEST(qint64{secondsBetween(a, b)}, "seconds");
        QTEST(qint64{minutesBetween(a, b)}, "minutes");
        QTEST(qint64{hoursBetween(a, b)}, "hours");
    }

    void differencesAcrossMidnightAndBeforeTheZeroDate() {
        QCOMPARE(daysBetween(at(2026, 11, 23, 23, 59, 59), at(2026, 11, 24, 0, 0, 0)), 1);
        QCOMPARE(minutesBetween(at(1899, 12, 29, 23, 59, 30), at(1899, 12, 30, 0, 0, 0)), 1);
    }

    void texts() {
        QLocale::setDefault(QLocale::c());
        const DateValue value = at(2026, 3, 5, 14, 7, 9);
        QCOMPARE(formatDate(value), QStringLiteral("05-Mar-2026"));
        QCOMPARE(formatDateTime(value), QStringLiteral("05-Mar-2026 14:07"));
        QVERIFY(formatGeneralDate(value).contains(QStringLiteral("14:07:09")));
        QVERIFY(!formatGeneralDate(at(2026, 3, 5, 0, 0, 0)).contains(QLatin1Char(':')));
    }

    void dateTimeFieldsAreTakenAsTheyAre() {
        const QDateTime utc(QDate(2026, 3, 29), QTime(2, 30, 0), Qt::UTC);
        QCOMPARE(DateValue::fromDateTime(utc), at(2026, 3, 29, 2, 30, 0));
        QCOMPARE(at(2026, 3, 29, 2, 30, 0).minuteOfDay(), 150);
    }
};

QTEST_GUILESS_MAIN(TestDateValue)
#include "TestDateValue.moc"
