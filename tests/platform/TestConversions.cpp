#include "platform/Conversions.h"
#include "platform/RuntimeError.h"

#include <QTest>

using namespace hvx;

class TestConversions : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void wholeNumbers_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("expected");
        QTest::newRow("half to even 2.5") << "2.5" << 2;
        QTest::newRow("half to even 3.5") << "3.5" << 4;
        QTest::newRow("half to even -2.5") << "-2.5" << -2;
        QTest::newRow("half to even 0.5") << "0.5" << 0;
        QTest::newRow("not a half 2.51") << "2.51" << 3;
        QTest::newRow("blanks around") << " 12 " << 12;
        QTest::newRow("exponent") << "1e3" << 1000;
        QTest::newRow("leading plus") << "+7" << 7;
        QTest::newRow("leading point") << ".5" << 0;
        QTest::newRow("largest") << "2147483647" << 2147483647;
        QTest::newRow("smallest") << "-2147483648" << (-2147483647 - 1);
    }
    void wholeNumbers() {
        QFETCH(QString, text);
        QFETCH(int, expected);
        QVERIFY(isNumeric(text));
        QCOMPARE(toWholeNumber(text), expected);
    }

    void conversionErrors_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<long>("number");
        QTest::newRow("a word") << "twelve" << err::TypeMismatch;
        QTest::newRow("empty") << "" << err::TypeMismatch;
        QTest::newRow("blanks only") << "   " << err::TypeMismatch;
        QTest::newRow("two points") << "1.2.3" << err::TypeMismatch;
        QTest::newRow("trailing letters") << "12abc" << err::TypeMismatch;
        QTest::newRow("too large") << "99999999999" << err::Overflow;
        QTest::newRow("just too large") << "2147483647.5" << err::Overflow;
        QTest::newRow("too small") << "-2147483649" << err::Overflow;
        QTest::newRow("beyond double") << "1e400" << err::Overflow;
    }
    void conversionErrors() {
        QFETCH(QString, text);
        QFETCH(long, number);
        try {
            toWholeNumber(text);
            QFAIL("no error raised");
        } catch (const RuntimeError& error) {
            QCOMPARE(error.number(), number);
        }
    }

    void booleans_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("expected");
        QTest::newRow("True") << "True" << true;
        QTest::newRow("false") << "false" << false;
        QTest::newRow("TRUE") << "TRUE" << true;
        QTest::newRow("-1") << "-1" << true;
        QTest::newRow("0") << "0" << false;
        QTest::newRow("1") << "1" << true;
        QTest::newRow("0.0") << "0.0" << false;
        QTest::newRow("blanks") << " 1 " << true;
    }
    void booleans() {
        QFETCH(QString, text);
        QFETCH(bool, expected);
        QCOMPARE(toBoolean(text), expected);
    }

    void booleanErrors_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("yes") << "yes";
        QTest::newRow("empty") << "";
        QTest::newRow("Truely") << "Truely";
    }
    void booleanErrors() {
        QFETCH(QString, text);
        try {
            toBoolean(text);
            QFAIL("no error raised");
        } catch (const RuntimeError& error) {
            QCOMPARE(error.number(), err::TypeMismatch);
        }
    }
};

QTEST_GUILESS_MAIN(TestConversions)
#include "TestConversions.moc"
