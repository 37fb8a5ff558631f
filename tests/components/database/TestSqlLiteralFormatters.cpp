// The literals as written. That SQLite and PostgreSQL read them back unchanged is checked by
// TestDatabaseManager; what only SQL Server would read (NCHAR, a backslash before a line break)
// is checked here alone.
#include "components/SqlLiteralFormatters.h"
#include "platform/RuntimeError.h"

#include <QtTest>

using namespace hvx;

class TestSqlLiteralFormatters : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void text_data() {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("literal");
        const QString nul(QChar(u'\0'));
        const auto row = [](const char* name, const char* type, const QString& text,
                            const QString& literal) {
            QTest::newRow(name) << QString::fromLatin1(type) << text << literal;
        };
        row("server type in any case", "SqlServer", "x", "N'x'");
        row("server NUL", "SQLSERVER", "a" + nul, "CONCAT(N'a', NCHAR(0))");
        row("server only NUL", "SQLSERVER", nul, "NCHAR(0)");
        row("server backslash before line break", "SQLSERVER", "a\\\r\nb\\",
            "CONCAT(N'a\\', N'\r\nb\\')");
        row("unknown type as JET", "ORACLE", "it's", "'it''s'");
    }

    void text() {
        QFETCH(QString, type);
        QFETCH(QString, text);
        QFETCH(QString, literal);
        SqlLiteralStringFormatter formatter;
        formatter.SetDatabaseType(type);
        QCOMPARE(formatter.FormatText(text), literal);
    }

    // The one form that SQL Server reads alike whatever its language.
    void serverDates() {
        SqlLiteralValueFormatter formatter;
        formatter.SetDatabaseType(QStringLiteral("SQLSERVER"));
        QCOMPARE(formatter.FormatDate(DateValue::fromParts(QDate(987, 3, 4), QTime(5, 6, 7))),
                 QStringLiteral("'0987-03-04T05:06:07'"));
    }

    void datesOutsideTheEnginesRange() {
        SqlLiteralValueFormatter formatter;
        const DateValue last = DateValue::fromParts(QDate(9999, 12, 31), QTime(23, 59, 59));
        const DateValue first = DateValue::fromParts(QDate(1, 1, 1), QTime(0, 0));
        QCOMPARE(formatter.FormatDate(first), QStringLiteral("'0001-01-01 00:00:00'"));
        QVERIFY_THROWS_EXCEPTION(RuntimeError, formatter.FormatDate(last.addSeconds(1)));
        QVERIFY_THROWS_EXCEPTION(RuntimeError, formatter.FormatDate(first.addSeconds(-1)));
    }
};

QTEST_GUILESS_MAIN(TestSqlLiteralFormatters)
#include "TestSqlLiteralFormatters.moc"
