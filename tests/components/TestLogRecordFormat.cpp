#include "components/LogRecordFormat.h"
#include "components/PasswordConcealment.h"

#include <QTest>

using namespace hvx;

class TestLogRecordFormat : public QObject {
    Q_OBJECT

    const QString head_ = QStringLiteral("2026-11-23 10:00:00  TRACE  ");

  private Q_SLOTS:
    void records_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("plain") << QStringLiteral("Monitor Started")
                               << QByteArray("Monitor Started\n");
        QTest::newRow("trailing breaks dropped")
            << QStringLiteral("Closed\r\n\r\n") << QByteArray("Closed\n");
        QTest::newRow("forged line after CR LF")
            << QStringLiteral("999\r\n2026-01-01 00:00:00  ERROR  forged")
            << QByteArray("999\n\t2026-01-01 00:00:00  ERROR  forged\n");
        QTest::newRow("lone CR and LF")
            << QStringLiteral("a\rb\nc\n\rd") << QByteArray("a\n\tb\n\tc\n\t\n\td\n");
        QTest::newRow("control characters")
            << QStringLiteral("tab\there, esc\x1b, nul") + QChar(0) + QStringLiteral(" del\x7f")
            << QByteArray("tab\\x09here, esc\\x1B, nul\\x00 del\\x7F\n");
        QTest::newRow("C1 and separators")
            << QString(QChar(0x85)) + QChar(0x2028) + QChar(0x2029) + QStringLiteral("é")
            << QByteArray("\\x85\\u2028\\u2029\xc3\xa9\n");
        QTest::newRow("empty") << QString() << QByteArray("\n");
    }

    void records() {
        QFETCH(QString, text);
        QFETCH(QByteArray, expected);
        QCOMPARE(formatLogRecord(head_, text), head_.toUtf8() + expected);
    }

    void aLongTextKeepsItsStartAndMarksTheCut_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("start");
        QTest::newRow("1.2 MB on one line")
            << QString(1'200'000, QLatin1Char('x')) << QStringLiteral("xxx");
        QTest::newRow("1.2 MB of line breaks")
            << QStringLiteral("y\n").repeated(600'000) << QStringLiteral("y\n\ty\n\ty");
        QTest::newRow("control characters")
            << QString(100'000, QChar(1)) << QStringLiteral("\\x01\\x01");
        // A cut must never separate the halves of a pair (an emoji).
        QTest::newRow("surrogate pairs")
            << QString::fromUtf8("😀").repeated(50'000) << QString::fromUtf8("😀😀");
    }

    void aLongTextKeepsItsStartAndMarksTheCut() {
        QFETCH(QString, text);
        QFETCH(QString, start);
        const QByteArray record = formatLogRecord(head_, text);
        const QString written = QString::fromUtf8(record);
        QVERIFY(!written.contains(QChar(QChar::ReplacementCharacter)));
        const qsizetype cut = written.lastIndexOf(QStringLiteral(" [cut: "));
        QVERIFY(written.endsWith(QStringLiteral(" more characters]\n")));
        QVERIFY(cut - head_.size() <= kMaxLogRecordCharacters);
        QVERIFY(cut - head_.size() > kMaxLogRecordCharacters - 4);
        QCOMPARE(written.left(head_.size() + start.size()), head_ + start);
        const QByteArrayList lines = record.chopped(1).split('\n');
        for (qsizetype i = 1; i < lines.size(); ++i) {
            QVERIFY(lines[i].startsWith(kLogContinuation));
        }
    }

    void passwordsAreConcealedOnlyWhereTheyCanBe_data() {
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("short password in a connection string")
            << QStringLiteral("0") << QStringLiteral("Driver={X};Uid=Monitor;Pwd=0;Server=s")
            << QStringLiteral("Driver={X};Uid=Monitor;Pwd=********;Server=s");
        QTest::newRow("braced password with a brace")
            << QStringLiteral("a;b}c") << QStringLiteral("Server=s;PWD={a;b}}c};Database=d")
            << QStringLiteral("Server=s;PWD=********;Database=d");
        QTest::newRow("Password key") << QStringLiteral("Mon") << QStringLiteral("password = Mon")
                                      << QStringLiteral("password = ********");
        QTest::newRow("seven characters in a driver text")
            << QStringLiteral("Monitor") << QStringLiteral("Monitor Started")
            << QStringLiteral("******** Started");
        QTest::newRow("three characters left alone")
            << QStringLiteral("Mon") << QStringLiteral("Monitor Started")
            << QStringLiteral("Monitor Started");
        QTest::newRow("long password in a driver message")
            << QStringLiteral("s3cr3t-pass") << QStringLiteral("login failed: 's3cr3t-pass'")
            << QStringLiteral("login failed: '********'");
    }

    void passwordsAreConcealedOnlyWhereTheyCanBe() {
        QFETCH(QString, password);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(concealPassword(text, password), expected);
    }
};

QTEST_GUILESS_MAIN(TestLogRecordFormat)
#include "TestLogRecordFormat.moc"
