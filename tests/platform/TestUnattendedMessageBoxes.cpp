#include "fakes/TestFiles.h"
#include "platform/qt/UnattendedMessageBoxes.h"
#include "platform/qt/UnattendedSession.h"

#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace hvx;

class TestUnattendedMessageBoxes : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void answersFromTheQueueThenWithTheDefaultButton() {
        QTemporaryDir dir;
        const QString log = dir.filePath(QStringLiteral("boxes.jsonl"));
        UnattendedSession session(log, QStringLiteral("no, yes ,ok"));
        UnattendedMessageBoxes boxes(session, QStringLiteral("HvxMonitor"));

        MessageBoxRequest question{QStringLiteral("Run the wizard?"), std::nullopt,
                                   MessageIcon::Question, MessageButtons::YesNo, 2};
        QCOMPARE(boxes.Show(question), MessageAnswer::No);
        QCOMPARE(boxes.Show(question), MessageAnswer::Yes);
        // "ok" does not fit Yes/No: refused, and the default button (No) answers.
        QCOMPARE(boxes.Show(question), MessageAnswer::No);
        // Queue empty: default button.
        MessageBoxRequest info{QStringLiteral("Stopped \"now\"\nreally"), QStringLiteral("Title"),
                               MessageIcon::Information, MessageButtons::OkCancel, 2};
        QCOMPARE(boxes.Show(info), MessageAnswer::Cancel);

        const auto lines = test::jsonLines(log);
        QCOMPARE(lines.size(), 4);
        QCOMPARE(lines[0].value(QStringLiteral("kind")).toString(), QStringLiteral("messagebox"));
        QCOMPARE(lines[0].value(QStringLiteral("title")).toString(), QStringLiteral("HvxMonitor"));
        QCOMPARE(lines[0].value(QStringLiteral("icon")).toString(), QStringLiteral("question"));
        QCOMPARE(lines[0].value(QStringLiteral("buttons")).toString(), QStringLiteral("YesNo"));
        QCOMPARE(lines[0].value(QStringLiteral("answer")).toString(), QStringLiteral("no"));
        QCOMPARE(lines[1].value(QStringLiteral("answer")).toString(), QStringLiteral("yes"));
        QCOMPARE(lines[2].value(QStringLiteral("refused")).toString(), QStringLiteral("ok"));
        QCOMPARE(lines[2].value(QStringLiteral("answer")).toString(), QStringLiteral("no"));
        QVERIFY(!lines[1].contains(QStringLiteral("refused")));
        QCOMPARE(lines[3].value(QStringLiteral("text")).toString(),
                 QStringLiteral("Stopped \"now\"\nreally"));
        QCOMPARE(lines[3].value(QStringLiteral("title")).toString(), QStringLiteral("Title"));
    }

    void defaultPositionsAndEscape_data() {
        QTest::addColumn<int>("buttons");
        QTest::addColumn<int>("defaultButton");
        QTest::addColumn<int>("expectedDefault");
        QTest::addColumn<int>("expectedEscape");
        const auto code = [](MessageAnswer a) { return static_cast<int>(a); };
        const auto set = [](MessageButtons b) { return static_cast<int>(b); };
        QTest::newRow("OK alone") << set(MessageButtons::OkOnly) << 1 << code(MessageAnswer::Ok)
                                  << code(MessageAnswer::Ok);
        QTest::newRow("Yes No, second")
            << set(MessageButtons::YesNo) << 2 << code(MessageAnswer::No) << 0;
        QTest::newRow("Yes No Cancel, third")
            << set(MessageButtons::YesNoCancel) << 3 << code(MessageAnswer::Cancel)
            << code(MessageAnswer::Cancel);
        QTest::newRow("position beyond the set")
            << set(MessageButtons::OkCancel) << 3 << code(MessageAnswer::Ok)
            << code(MessageAnswer::Cancel);
    }
    void defaultPositionsAndEscape() {
        QFETCH(int, buttons);
        QFETCH(int, defaultButton);
        MessageBoxRequest request;
        request.buttons = static_cast<MessageButtons>(buttons);
        request.defaultButton = defaultButton;
        QTEST(static_cast<int>(defaultAnswerOf(request)), "expectedDefault");
        const auto escape = escapeAnswerOf(request.buttons);
        QTEST(escape ? static_cast<int>(*escape) : 0, "expectedEscape");
    }
};

QTEST_GUILESS_MAIN(TestUnattendedMessageBoxes)
#include "TestUnattendedMessageBoxes.moc"
