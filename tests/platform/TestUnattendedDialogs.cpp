// The unattended editions of the message boxes and the dialogs: every message box a dialog shows
// while it is open is a line of its own that takes an answer of its own, and a token that fits
// nothing is refused. And the old-messages dialog and the connection wizard that an operator sees
// in their place.
#include "channel/RegFunctions.h"
#include "commands/ui/UnattendedMessageWithTurnOff.h"
#include "commands/ui/UnattendedOperatorName.h"
#include "components/DbIni.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/ui/QtConnectionWizard.h"
#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"
#include "platform/qt/UnattendedMessageBoxes.h"
#include "platform/qt/UnattendedSession.h"
#include "settings/ui/UnattendedDeleteOldMessages.h"
#include "settings/ui/dlgDeleteOldMessages.h"
#include "startup/ui/dlgMonitorNames.h"

#include <QAbstractButton>
#include <QApplication>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QWizard>

using namespace Qt::StringLiterals;
using namespace hvx;
using namespace hvx::test;

namespace {

// The named fields of a JSON line, joined by '|'.
QString joined(const QJsonObject& line, std::initializer_list<const char*> keys) {
    QStringList fields;
    for (const char* key : keys) {
        fields.append(line.value(QLatin1String(key)).toString());
    }
    return fields.join(QLatin1Char('|'));
}

enum Dialog { InstanceList, OldMessages, AlertSetup, Confirmation };

// Shows `dialog` unattended, its lines and its boxes' in `log`; answers whether it ended
// cancelled (the alert set-up: saved nothing; the confirmation: closed without a button).
bool show(Dialog dialog, TestEnvironment& t, UnattendedSession& session) {
    UnattendedMessageBoxes boxes(session, u"HvxMonitor"_s);
    t.env.messageBoxes = &boxes;
    if (dialog == InstanceList) {
        UnattendedMonitorNames shown(*t.ctx, session);
        shown.Show();
        return shown.Cancelled();
    }
    if (dialog == OldMessages) {
        UnattendedDeleteOldMessages shown(session, boxes);
        shown.Show();
        return shown.Cancelled();
    }
    if (dialog == AlertSetup) {
        UnattendedOperatorName(*t.ctx, session).Show();
        return GetRegValue(*t.ctx, t.ctx->optionsSection, u"AlertMsg"_s, {}).isEmpty();
    }
    UnattendedMessageWithTurnOff shown(*t.ctx, session);
    shown.SetYesNo(true);
    shown.SetWarningOffKey(u"ExitMonitor"_s);
    shown.Show();
    return shown.Response() == 0;
}

}  // namespace

class TestUnattendedDialogs : public QObject {
    Q_OBJECT

    SettableClock clock_;

  private Q_SLOTS:
    // "ok" does not fit Yes/No: it is refused, and the default button answers, as it does once
    // the queue is empty.
    void boxAnswersFromTheQueueThenWithTheDefaultButton() {
        TestEnvironment t;
        const QString log = t.folder.filePath(u"boxes.jsonl"_s);
        UnattendedSession session(log, u"no, yes ,ok"_s);
        UnattendedMessageBoxes boxes(session, u"HvxMonitor"_s);
        const MessageBoxRequest question{u"Run the wizard?"_s, std::nullopt, MessageIcon::Question,
                                         MessageButtons::YesNo, 2};
        for (const MessageAnswer expected :
             {MessageAnswer::No, MessageAnswer::Yes, MessageAnswer::No, MessageAnswer::No}) {
            QCOMPARE(boxes.Show(question), expected);
        }
        QStringList lines;
        for (const QJsonObject& line : jsonLines(log)) {
            lines.append(
                joined(line, {"kind", "text", "title", "icon", "buttons", "answer", "refused"}));
        }
        const QString asked = u"messagebox|Run the wizard?|HvxMonitor|question|YesNo|"_s;
        QCOMPARE(lines, QStringList({asked + u"no|"_s, asked + u"yes|"_s, asked + u"no|ok"_s,
                                     asked + u"no|"_s}));
    }

    void defaultPositionsAndEscape() {
        const auto defaultOf = [](MessageButtons buttons, int position) {
            return defaultAnswerOf({{}, std::nullopt, MessageIcon::None, buttons, position});
        };
        QCOMPARE(defaultOf(MessageButtons::OkOnly, 1), MessageAnswer::Ok);
        QCOMPARE(defaultOf(MessageButtons::YesNo, 2), MessageAnswer::No);
        QCOMPARE(defaultOf(MessageButtons::YesNoCancel, 3), MessageAnswer::Cancel);
        // A position beyond the set takes the first button.
        QCOMPARE(defaultOf(MessageButtons::OkCancel, 3), MessageAnswer::Ok);
        QCOMPARE(escapeAnswerOf(MessageButtons::OkOnly), std::optional(MessageAnswer::Ok));
        QVERIFY(!escapeAnswerOf(MessageButtons::YesNo));
        QCOMPARE(escapeAnswerOf(MessageButtons::YesNoCancel), std::optional(MessageAnswer::Cancel));
        QCOMPARE(escapeAnswerOf(MessageButtons::OkCancel), std::optional(MessageAnswer::Cancel));
    }

    void boxesAndRefusedTokens_data() {
        QTest::addColumn<int>("dialog");
        QTest::addColumn<QString>("answers");
        QTest::addColumn<QString>("box");  // text, icon and title of an OK box; empty: no box
        QTest::addColumn<QString>("refused");
        QTest::addColumn<bool>("cancelled");
        const auto row = [](const char* name, Dialog dialog, const char* answers, const char* box,
                            const char* refused, bool cancelled) {
            QTest::newRow(name) << int(dialog) << QString::fromLatin1(answers)
                                << QString::fromLatin1(box) << QString::fromLatin1(refused)
                                << cancelled;
        };
        // After a box takes its own "ok", the dialog goes on with the next token.
        row("instance list, load error", InstanceList, "ok,cancel",
            "Error 9, Subscript out of range (Code 11087).|none|HvxMonitor", "", true);
        row("instance list, none selected", InstanceList, "select:South,ok,cancel",
            "Please select a Monitor instance.|exclamation|Halvex Monitor", "", true);
        row("instance list, no db.ini", InstanceList, "select:North,ok,cancel",
            "There is no DB.INI file in this folder, or the folder doesn't exist.|critical|"
            "Halvex Monitor",
            "", true);
        row("old messages, no number", OldMessages, "days:x,ok,keep",
            "Please type the number of days.|exclamation|Halvex Help Desk", "", false);
        row("old messages, under a day", OldMessages, "days:0,ok,cancel",
            "The number of days must be 1 or more.|exclamation|Halvex Help Desk", "", true);
        row("alert set-up, quotes", AlertSetup, "ok:Down;help desk,ok,ok:Down;ops",
            "Net Send destinations with spaces must be contained in quotes.|exclamation|"
            "Halvex Monitor",
            "", false);
        // A refused token ends the dialog as Cancel does; the token after it stays queued.
        row("instance list, refused", InstanceList, "pick:North,yes", "", "pick:North", true);
        row("old messages, refused", OldMessages, "delete,yes", "", "delete", true);
        row("alert set-up, refused", AlertSetup, "save,yes", "", "save", true);
        row("confirmation, no such button", Confirmation, "ok,yes", "", "ok", true);
        row("confirmation, refused with its box ticked", Confirmation, "cancel+off,yes", "",
            "cancel+off", true);
    }
    void boxesAndRefusedTokens() {
        QFETCH(int, dialog);
        QFETCH(QString, answers);
        QFETCH(QString, box);
        QFETCH(QString, refused);
        TestEnvironment t;
        QVERIFY(writeFile(
            t.folder.filePath(u"monitornames.txt"_s),
            box.startsWith(QLatin1String("Error")) ? "North,/a\nno comma\n" : "North,/nowhere\n"));
        const QString log = t.folder.filePath(u"unattended.jsonl"_s);
        UnattendedSession session(log, answers);

        QTEST(show(static_cast<Dialog>(dialog), t, session), "cancelled");

        QStringList boxes;
        QJsonObject last;
        for (const QJsonObject& line : jsonLines(log)) {
            if (line.value(u"kind"_s) != QLatin1String("messagebox")) {
                last = line;
                continue;
            }
            boxes.append(line.value(u"text"_s).toString().section(QLatin1Char('\r'), 0, 0) +
                         QLatin1Char('|') + joined(line, {"icon", "title", "buttons", "answer"}));
        }
        QCOMPARE(boxes, box.isEmpty() ? QStringList() : QStringList{box + u"|OKOnly|ok"_s});
        QCOMPARE(last.value(u"refused"_s).toString(), refused);
        if (refused.isEmpty()) {
            QCOMPARE(last.value(u"answer"_s).toString(), answers.section(QLatin1Char(','), -1));
        } else {
            QCOMPARE(session.takeAnswer(), std::optional<QString>(u"yes"_s));
        }
        QCOMPARE(GetRegValue(*t.ctx, u"Warnings"_s, u"ExitMonitor"_s, {}), QString());
    }

    // The old-messages dialog as the operator sees it.
    // Days are read only for the third choice.
    void choicesAndDays_data() {
        QTest::addColumn<int>("option");
        QTest::addColumn<QString>("days");
        QTest::addColumn<QString>("refusal");
        QTest::addColumn<int>("choice");
        QTest::addColumn<int>("daysToDelete");
        QTest::newRow("a word") << 2 << "thirty" << u"Please type the number of days."_s << 0 << 0;
        QTest::newRow("zero") << 2 << "0" << u"The number of days must be 1 or more."_s << 0 << 0;
        QTest::newRow("thirty") << 2 << " 30 " << QString() << 3 << 30;
        QTest::newRow("keep") << 0 << "thirty" << QString() << 1 << 0;
        QTest::newRow("delete all") << 1 << "" << QString() << 2 << 0;
    }
    void choicesAndDays() {
        QFETCH(int, option);
        QFETCH(QString, days);
        QFETCH(QString, refusal);
        ScriptedMessageBoxes boxes;
        dlgDeleteOldMessages dialog(boxes);
        dialog.findChild<QRadioButton*>(u"Option1_%1"_s.arg(option))->setChecked(true);
        dialog.findChild<QLineEdit*>(u"txtDays"_s)->setText(days);
        dialog.cmdOK_Click();
        QCOMPARE(boxes.texts(), refusal.isEmpty() ? QStringList() : QStringList{refusal});
        if (!refusal.isEmpty()) {
            QCOMPARE(boxes.shown().front().title, std::optional<QString>(u"Halvex Help Desk"_s));
        }
        QTEST(dialog.UserChoice(), "choice");
        QTEST(dialog.DaysToDelete(), "daysToDelete");
        QVERIFY(!dialog.Cancelled());
    }

    void escapeCancelsAndTheWarningIsShown() {
        ScriptedMessageBoxes boxes;
        dlgDeleteOldMessages dialog(boxes);
        dialog.SetOldUnsentCount(12);
        QString warning;
        QTimer::singleShot(0, &dialog, [&] {
            warning = dialog.findChild<QLabel*>(u"lblExplain"_s)->text();
            QTest::keyClick(&dialog, Qt::Key_Escape);
        });
        dialog.Show();
        QVERIFY2(warning.startsWith(u"WARNING: There are 12 unsent messages"_s),
                 qPrintable(warning));
        QVERIFY(dialog.Cancelled());
        QCOMPARE(dialog.UserChoice(), DeleteOldMessagesDialog::kNoChoice);
    }

    // The connection wizard.
    // Cancelled first, which writes nothing; then driven as an operator would: a new database
    // file, created with the schema.
    void aNewFileDatabaseIsCreatedTestedAndWrittenToDbIni() {
        QTemporaryDir app;
        QtConnectionWizard wizard(app.path(), clock_);
        QTimer::singleShot(0, [] {
            QTRY_VERIFY(QApplication::activeModalWidget() != nullptr);
            qobject_cast<QWizard*>(QApplication::activeModalWidget())->reject();
        });
        wizard.ShowDialog();
        QVERIFY(wizard.Cancelled());
        QVERIFY(!QFile::exists(DbIni::pathIn(app.path())));

        QString result;
        QTimer driver;
        connect(&driver, &QTimer::timeout, [&] {
            auto* shown = qobject_cast<QWizard*>(QApplication::activeModalWidget());
            if (shown == nullptr) {
                return;
            }
            QWizardPage* page = shown->currentPage();
            if (auto* path = page->findChild<QLineEdit*>(QStringLiteral("txtDatabaseFile"))) {
                path->setText(app.filePath(QStringLiteral("new.sqlite3")));
            }
            if (auto* label = page->findChild<QLabel*>(QStringLiteral("lblResult"))) {
                result = label->text();
                driver.stop();
                shown->button(QWizard::FinishButton)->click();
                return;
            }
            shown->next();
        });
        driver.start(0);
        wizard.ShowDialog();
        QVERIFY2(result.startsWith(QStringLiteral("The connection works.")), qPrintable(result));
        QVERIFY(!wizard.Cancelled());
        QtSqlDatabaseManager database;
        database.SetDbIniFolder(app.path());
        QCOMPARE(database.Connect(QString(), true, QVariant()), 2L);
    }

    // Unattended: "jet:FILE" and "odbc:CONNECTION" are tested like the pages' entries; a failed
    // test lets the next token try again.
    void unattendedAnswersFromTheQueue_data() {
        QTest::addColumn<QString>("answers");
        QTest::addColumn<bool>("completed");
        QTest::addColumn<QString>("refused");
        QTest::newRow("new file") << "jet:%1" << true << QString();
        QTest::newRow("unknown driver, then a file")
            << "odbc:Driver={No Such Driver};Server=127.0.0.1;Database=x;Uid=u;Pwd=p4ss,jet:%1"
            << true << QString();
        QTest::newRow("not a connection, then cancel")
            << "odbc:Colour=blue,cancel" << false << QString();
        QTest::newRow("refused") << "sqlite:db" << false << "sqlite:db";
        QTest::newRow("empty queue") << "" << false << QString();
    }
    void unattendedAnswersFromTheQueue() {
        QFETCH(QString, answers);
        QFETCH(bool, completed);
        QFETCH(QString, refused);
        QTemporaryDir app;
        const QString file = app.filePath(QStringLiteral("new.sqlite3"));
        const QString log = app.filePath(QStringLiteral("unattended.jsonl"));
        UnattendedSession session(
            log, answers.contains(QLatin1String("%1")) ? answers.arg(file) : answers);
        UnattendedConnectionWizard wizard(session, app.path(), clock_);
        wizard.ShowDialog();

        QCOMPARE(!wizard.Cancelled(), completed);
        QCOMPARE(QFile::exists(DbIni::pathIn(app.path())), completed);
        QFile lines(log);
        QVERIFY(lines.open(QIODevice::ReadOnly) && !lines.readAll().contains("p4ss"));
        const QJsonObject last = jsonLines(log).last();
        QCOMPARE(last.value(QStringLiteral("refused")).toString(), refused);
        if (completed) {
            QCOMPARE(DbIni::load(DbIni::pathIn(app.path())).location, file);
            QVERIFY(last.value(QStringLiteral("result"))
                        .toString()
                        .startsWith(QStringLiteral("The connection works.")));
        }
    }
};

QTEST_MAIN(TestUnattendedDialogs)
#include "TestUnattendedDialogs.moc"
