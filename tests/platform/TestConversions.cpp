#include "fakes/ErrorOf.h"
#include "platform/Conversions.h"
#include "platform/RuntimeError.h"

#include <QTest>

using namespace hvx;
using hvx::test::errorOf;

class TestConversions : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // An error row expects that error number and no value.
    void wholeNumbers_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("expected");
        QTest::addColumn<long>("error");
        QTest::newRow("half to even 2.5") << "2.5" << 2 << 0L;
        QTest::newRow("half to even 3.5") << "3.5" << 4 << 0L;
        QTest::newRow("half to even -2.5") << "-2.5" << -2 << 0L;
        QTest::newRow("half to even 0.5") << "0.5" << 0 << 0L;
        QTest::newRow("not a half 2.51") << "2.51" << 3 << 0L;
        QTest::newRow("blanks around") << " 12 " << 12 << 0L;
        QTest::newRow("exponent") << "1e3" << 1000 << 0L;
        QTest::newRow("leading plus") << "+7" << 7 << 0L;
        QTest::newRow("leading point") << ".5" << 0 << 0L;
        QTest::newRow("largest") << "2147483647" << 2147483647 << 0L;
        QTest::newRow("smallest") << "-2147483648" << (-2147483647 - 1) << 0L;
        QTest::newRow("a word") << "twelve" << 0 << err::TypeMismatch;
        QTest::newRow("empty") << "" << 0 << err::TypeMismatch;
        QTest::newRow("blanks only") << "   " << 0 << err::TypeMismatch;
        QTest::newRow("two points") << "1.2.3" << 0 << err::TypeMismatch;
        QTest::newRow("trailing letters") << "12abc" << 0 << err::TypeMismatch;
        QTest::newRow("too large") << "99999999999" << 0 << err::Overflow;
        QTest::newRow("just too large") << "2147483647.5" << 0 << err::Overflow;
        QTest::newRow("too small") << "-2147483649" << 0 << err::Overflow;
        QTest::newRow("beyond double") << "1e400" << 0 << err::Overflow;
    }
    void wholeNumbers() {
        QFETCH(QString, text);
        QFETCH(long, error);
        QCOMPARE(errorOf([&] { toWholeNumber(text); }), error);
        if (error == 0) {
            QVERIFY(isNumeric(text));
            QTEST(toWholeNumber(text), "expected");
        }
    }

    void booleans_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("expected");
        QTest::addColumn<long>("error");
        QTest::newRow("True") << "True" << true << 0L;
        QTest::newRow("false") << "false" << false << 0L;
        QTest::newRow("TRUE") << "TRUE" << true << 0L;
        QTest::newRow("-1") << "-1" << true << 0L;
        QTest::newRow("0") << "0" << false << 0L;
        QTest::newRow("1") << "1" << true << 0L;
        QTest::newRow("0.0") << "0.0" << false << 0L;
        QTest::newRow("blanks") << " 1 " << true << 0L;
        QTest::newRow("yes") << "yes" << false << err::TypeMismatch;
        QTest::newRow("empty") << "" << false << err::TypeMismatch;
        QTest::newRow("Truely") << "Truely" << false << err::TypeMismatch;
    }
    void booleans() {
        QFETCH(QString, text);
        QFETCH(long, error);
        QCOMPARE(errorOf([&] { toBoolean(text); }), error);
        if (error == 0) {
            QTEST(toBoolean(text), "expected");
        }
    }
};

QTEST_GUILESS_MAIN(TestConversions)
#include "TestConversions.moc"
