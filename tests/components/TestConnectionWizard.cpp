#include "components/DbIni.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/ui/QtConnectionWizard.h"
#include "fakes/SettableClock.h"
#include "fakes/TestFiles.h"
#include "platform/qt/UnattendedSession.h"

#include <QAbstractButton>
#include <QApplication>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QWizard>

using namespace hvx;

class TestConnectionWizard : public QObject {
    Q_OBJECT

    test::SettableClock clock_;

  private Q_SLOTS:
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
        const QJsonObject last = test::jsonLines(log).last();
        QCOMPARE(last.value(QStringLiteral("refused")).toString(), refused);
        if (completed) {
            QCOMPARE(DbIni::load(DbIni::pathIn(app.path())).location, file);
            QVERIFY(last.value(QStringLiteral("result"))
                        .toString()
                        .startsWith(QStringLiteral("The connection works.")));
        }
    }
};

QTEST_MAIN(TestConnectionWizard)
#include "TestConnectionWizard.moc"
