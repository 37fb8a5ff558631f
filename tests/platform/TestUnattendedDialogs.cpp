// The unattended editions of the dialogs: every message box a dialog shows while it is open is
// a line of its own that takes an answer of its own, and a token that fits nothing is refused.
#include "channel/RegFunctions.h"
#include "commands/ui/UnattendedMessageWithTurnOff.h"
#include "commands/ui/UnattendedOperatorName.h"
#include "fakes/TestEnvironment.h"
#include "platform/qt/UnattendedMessageBoxes.h"
#include "platform/qt/UnattendedSession.h"
#include "settings/ui/UnattendedDeleteOldMessages.h"
#include "startup/ui/dlgMonitorNames.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <functional>

using namespace hvx;
using namespace hvx::test;

namespace {

enum Dialog { InstanceList, OldMessages, AlertSetup, Confirmation };

// One unattended run: the dialog's and the boxes' lines in one file, one answer queue.
struct Run {
    Run(TestEnvironment& t, const QString& answers)
        : log(t.folder.filePath(QStringLiteral("unattended.jsonl"))),
          session(log, answers),
          boxes(session, QStringLiteral("HvxMonitor")) {
        t.env.messageBoxes = &boxes;
    }

    QList<QJsonObject> lines() const {
        QList<QJsonObject> read;
        QFile file(log);
        if (file.open(QIODevice::ReadOnly)) {
            for (const QByteArray& line : file.readAll().split('\n')) {
                if (!line.isEmpty()) {
                    read.append(QJsonDocument::fromJson(line).object());
                }
            }
        }
        return read;
    }

    QString log;
    UnattendedSession session;
    UnattendedMessageBoxes boxes;
};

void writeFile(const QString& path, const QByteArray& text) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(text);
    }
}

// Shows `dialog` unattended and answers whether it ended cancelled.
bool show(Dialog dialog, TestEnvironment& t, Run& run) {
    switch (dialog) {
        case InstanceList: {
            UnattendedMonitorNames shown(*t.ctx, run.session);
            shown.Show();
            return shown.Cancelled();
        }
        case OldMessages: {
            UnattendedDeleteOldMessages shown(run.session, run.boxes);
            shown.SetOldUnsentCount(12);
            shown.Show();
            return shown.Cancelled();
        }
        case AlertSetup: {
            UnattendedOperatorName shown(*t.ctx, run.session);
            shown.Show();
            return GetRegValue(*t.ctx, t.ctx->optionsSection, QStringLiteral("AlertMsg"),
                               QStringLiteral("<missing>")) == QLatin1String("<missing>");
        }
        case Confirmation: {
            UnattendedMessageWithTurnOff shown(*t.ctx, run.session);
            shown.SetMsg(QStringLiteral("Are you sure?"));
            shown.SetYesNo(true);
            shown.SetWarningOffKey(QStringLiteral("ExitMonitor"));
            shown.Show();
            return shown.Response() == 0;
        }
    }
    return true;
}

}  // namespace

class TestUnattendedDialogs : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void eachRefusalIsABoxOfItsOwn_data() {
        QTest::addColumn<int>("dialog");
        QTest::addColumn<QByteArray>("monitorNames");
        QTest::addColumn<QString>("answers");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("icon");
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("cancelled");
        // The first token after the box's own "ok" is the dialog's next answer.
        QTest::newRow("instance list, load error")
            << int(InstanceList) << QByteArray("North,/a\nno comma\n") << "ok,cancel"
            << "Error 9, Subscript out of range (Code 11087)."
            << "none"
            << "HvxMonitor" << true;
        QTest::newRow("instance list, none selected")
            << int(InstanceList) << QByteArray("North,/a\n") << "select:South,ok,cancel"
            << "Please select a Monitor instance."
            << "exclamation"
            << "Halvex Monitor" << true;
        QTest::newRow("instance list, no db.ini")
            << int(InstanceList) << QByteArray("North,/nowhere\n") << "select:North,ok,cancel"
            << "There is no DB.INI file in this folder, or the folder doesn't exist."
            << "critical"
            << "Halvex Monitor" << true;
        QTest::newRow("old messages, no number")
            << int(OldMessages) << QByteArray() << "days:x,ok,keep"
            << "Please type the number of days."
            << "exclamation"
            << "Halvex Help Desk" << false;
        QTest::newRow("old messages, under a day")
            << int(OldMessages) << QByteArray() << "days:0,ok,cancel"
            << "The number of days must be 1 or more."
            << "exclamation"
            << "Halvex Help Desk" << true;
        QTest::newRow("alert set-up, quotes")
            << int(AlertSetup) << QByteArray() << "ok:Down;help desk,ok,ok:Down;ops"
            << "Net Send destinations with spaces must be contained in quotes."
            << "exclamation"
            << "Halvex Monitor" << false;
    }
    void eachRefusalIsABoxOfItsOwn() {
        QFETCH(int, dialog);
        QFETCH(QByteArray, monitorNames);
        QFETCH(QString, answers);
        QFETCH(QString, text);
        QFETCH(bool, cancelled);
        TestEnvironment t;
        writeFile(t.folder.filePath(QStringLiteral("monitornames.txt")), monitorNames);
        Run run(t, answers);

        QCOMPARE(show(static_cast<Dialog>(dialog), t, run), cancelled);

        QList<QJsonObject> boxes;
        QList<QJsonObject> dialogLines;
        for (const QJsonObject& line : run.lines()) {
            (line.value(QStringLiteral("kind")) == QLatin1String("messagebox") ? boxes
                                                                               : dialogLines)
                .append(line);
        }
        QCOMPARE(boxes.size(), 1);
        const QJsonObject box = boxes.front();
        QVERIFY2(box.value(QStringLiteral("text")).toString().startsWith(text),
                 qPrintable(box.value(QStringLiteral("text")).toString()));
        QTEST(box.value(QStringLiteral("icon")).toString(), "icon");
        QTEST(box.value(QStringLiteral("title")).toString(), "title");
        QCOMPARE(box.value(QStringLiteral("buttons")).toString(), QStringLiteral("OKOnly"));
        QCOMPARE(box.value(QStringLiteral("answer")).toString(), QStringLiteral("ok"));
        QVERIFY(!box.contains(QStringLiteral("refused")));
        // The box took "ok"; the dialog went on with the token after it.
        QCOMPARE(dialogLines.last().value(QStringLiteral("answer")).toString(),
                 answers.section(QLatin1Char(','), -1));
        QVERIFY(!dialogLines.last().contains(QStringLiteral("refused")));
    }

    void aTokenThatFitsNothingIsRefused_data() {
        QTest::addColumn<int>("dialog");
        QTest::addColumn<QString>("token");
        QTest::newRow("instance list") << int(InstanceList) << "pick:North";
        QTest::newRow("old messages") << int(OldMessages) << "delete";
        QTest::newRow("alert set-up") << int(AlertSetup) << "save";
        QTest::newRow("confirmation, no such button") << int(Confirmation) << "ok";
        QTest::newRow("confirmation, turned off too") << int(Confirmation) << "cancel+off";
    }
    void aTokenThatFitsNothingIsRefused() {
        QFETCH(int, dialog);
        QFETCH(QString, token);
        TestEnvironment t;
        writeFile(t.folder.filePath(QStringLiteral("monitornames.txt")), "North,/a\n");
        // The token after the refused one is never taken: the refusal ends the dialog.
        Run run(t, token + QStringLiteral(",yes"));

        QVERIFY(show(static_cast<Dialog>(dialog), t, run));

        const QJsonObject last = run.lines().last();
        QCOMPARE(last.value(QStringLiteral("refused")).toString(), token);
        QCOMPARE(run.session.takeAnswer(), std::optional<QString>(QStringLiteral("yes")));
        QCOMPARE(GetRegValue(*t.ctx, QStringLiteral("Warnings"), QStringLiteral("ExitMonitor"),
                             QStringLiteral("<missing>")),
                 QStringLiteral("<missing>"));
    }
};

QTEST_GUILESS_MAIN(TestUnattendedDialogs)
#include "TestUnattendedDialogs.moc"
