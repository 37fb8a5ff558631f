#include "fakes/ErrorOf.h"
#include "platform/Conversions.h"
#include "platform/DateValue.h"
#include "platform/RuntimeError.h"

#include <QTest>

using namespace hvx;
using hvx::test::errorOf;

namespace {

DateValue at(int year, int month, int day, int hour, int minute, int second) {
    return DateValue::fromParts({year, month, day}, {hour, minute, second});
}

}  // namespace

class TestConversionsAndDates : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // Each text of a row gives the row's value, or its error number and no value. Booleans
    // read as 1 or 0.
    void conversions_data() {
        QTest::addColumn<bool>("boolean");
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<int>("expected");
        QTest::addColumn<long>("error");
        const auto row = [](bool boolean, const QStringList& texts, int expected, long error = 0) {
            QTest::addRow("%s %s", boolean ? "boolean" : "whole",
                          qPrintable(texts.join(QLatin1Char('|'))))
                << boolean << texts << expected << error;
        };
        const bool whole = false;
        const bool boolean = true;
        // Halves go to the even neighbour.
        row(whole, {"2.5"}, 2);
        row(whole, {"3.5"}, 4);
        row(whole, {"-2.5"}, -2);
        row(whole, {"0.5", ".5"}, 0);
        row(whole, {"2.51"}, 3);
        row(whole, {" 12 "}, 12);
        row(whole, {"1e3"}, 1000);
        row(whole, {"+7"}, 7);
        row(whole, {"2147483647"}, 2147483647);
        row(whole, {"-2147483648"}, -2147483647 - 1);
        row(whole, {"twelve", "", "   ", "1.2.3", "12abc"}, 0, err::TypeMismatch);
        row(whole, {"99999999999", "2147483647.5", "-2147483649", "1e400"}, 0, err::Overflow);
        row(boolean, {"True", "TRUE", "-1", "1", " 1 "}, 1);
        row(boolean, {"false", "0", "0.0"}, 0);
        row(boolean, {"yes", "", "Truely"}, 0, err::TypeMismatch);
    }
    void conversions() {
        QFETCH(bool, boolean);
        QFETCH(QStringList, texts);
        QFETCH(long, error);
        for (const QString& text : texts) {
            const auto convert = [&] {
                return boolean ? int(toBoolean(text)) : toWholeNumber(text);
            };
            QCOMPARE(errorOf(convert), error);
            if (error == 0) {
                QVERIFY(boolean || isNumeric(text));
                QTEST(convert(), "expected");
            }
        }
    }

    void zeroDateIsThirtiethOfDecember1899() {
        QCOMPARE(DateValue::zero(), at(1899, 12, 30, 0, 0, 0));
        QCOMPARE(at(1900, 1, 1, 12, 0, 0).serial(), 2.5);
        QCOMPARE(DateValue::fromSerial(2.5), at(1900, 1, 1, 12, 0, 0));
        QCOMPARE(DateValue::fromSerial(-1.25), at(1899, 12, 28, 18, 0, 0));
        QCOMPARE(DateValue::fromSerial(-1.25).serial(), -1.25);
    }

    void differencesCountBoundaries() {
        const auto on23rd = [](int hour, int minute, int second) {
            return at(2026, 11, 23, hour, minute, second);
        };
        QCOMPARE(minutesBetween(on23rd(10, 0, 59), on23rd(10, 1, 0)), 1);
        QCOMPARE(minutesBetween(on23rd(10, 0, 0), on23rd(10, 0, 59)), 0);
        QCOMPARE(secondsBetween(on23rd(10, 0, 0), on23rd(10, 0, 59)), 59);
        QCOMPARE(hoursBetween(on23rd(9, 59, 59), on23rd(10, 0, 0)), 1);
        QCOMPARE(hoursBetween(on23rd(10, 0, 0), on23rd(10, 59, 59)), 0);
        QCOMPARE(minutesBetween(on23rd(10, 1, 0), on23rd(10, 0, 59)), -1);
        QCOMPARE(secondsBetween(on23rd(10, 1, 0), on23rd(10, 0, 59)), -1);
        QCOMPARE(daysBetween(on23rd(23, 59, 59), at(2026, 11, 24, 0, 0, 0)), 1);
        QCOMPARE(minutesBetween(at(1899, 12, 29, 23, 59, 30), at(1899, 12, 30, 0, 0, 0)), 1);
    }

    void dateTexts() {
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

QTEST_GUILESS_MAIN(TestConversionsAndDates)
#include "TestConversionsAndDates.moc"
