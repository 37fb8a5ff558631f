#include "components/DbIni.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/ui/QtConnectionWizard.h"
#include "fakes/SettableClock.h"
#include "platform/qt/UnattendedSession.h"

#include <QApplication>
#include <QCheckBox>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QWizard>

using namespace hvx;

// Drives the wizard as an operator would: a new database file, created with the schema.
class TestConnectionWizard : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void aNewFileDatabaseIsCreatedTestedAndWrittenToDbIni() {
        QTemporaryDir app;
        test::SettableClock clock;
        QtConnectionWizard wizard(app.path(), clock);
        const QString file = app.filePath(QStringLiteral("data/new.sqlite3"));
        QDir().mkpath(app.filePath(QStringLiteral("data")));
        QString result;
        QTimer driver;
        driver.setInterval(0);
        connect(&driver, &QTimer::timeout, [&] {
            auto* shown = qobject_cast<QWizard*>(QApplication::activeModalWidget());
            if (shown == nullptr) {
                return;
            }
            if (auto* path = shown->currentPage()->findChild<QLineEdit*>(
                    QStringLiteral("txtDatabaseFile"))) {
                path->setText(file);
                QVERIFY(shown->currentPage()
                            ->findChild<QCheckBox*>(QStringLiteral("chkCreate"))
                            ->isChecked());
            }
            if (auto* label =
                    shown->currentPage()->findChild<QLabel*>(QStringLiteral("lblResult"))) {
                result = label->text();
                driver.stop();
                shown->button(QWizard::FinishButton)->click();
                return;
            }
            shown->next();
        });
        driver.start();
        wizard.ShowDialog();
        QVERIFY2(result.startsWith(QStringLiteral("The connection works.")), qPrintable(result));
        QVERIFY(!wizard.Cancelled());
        const DbIni ini = DbIni::load(DbIni::pathIn(app.path()));
        QVERIFY(ini.isJet());
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
        test::SettableClock clock;
        const QString file = app.filePath(QStringLiteral("new.sqlite3"));
        const QString log = app.filePath(QStringLiteral("unattended.jsonl"));
        UnattendedSession session(
            log, answers.contains(QLatin1String("%1")) ? answers.arg(file) : answers);
        UnattendedConnectionWizard wizard(session, app.path(), clock);
        wizard.ShowDialog();

        QCOMPARE(!wizard.Cancelled(), completed);
        QCOMPARE(QFile::exists(DbIni::pathIn(app.path())), completed);
        QFile lines(log);
        QVERIFY(lines.open(QIODevice::ReadOnly));
        const QByteArray text = lines.readAll();
        QVERIFY2(!text.contains("p4ss"), text.constData());
        const QJsonObject last =
            QJsonDocument::fromJson(text.trimmed().split('\n').last()).object();
        QCOMPARE(last.value(QStringLiteral("refused")).toString(), refused);
        if (completed) {
            QCOMPARE(DbIni::load(DbIni::pathIn(app.path())).location, file);
            QVERIFY(last.value(QStringLiteral("result"))
                        .toString()
                        .startsWith(QStringLiteral("The connection works.")));
        }
    }

    void cancellingWritesNothing() {
        QTemporaryDir app;
        test::SettableClock clock;
        QtConnectionWizard wizard(app.path(), clock);
        QTimer::singleShot(0, [] {
            QTRY_VERIFY(QApplication::activeModalWidget() != nullptr);
            qobject_cast<QWizard*>(QApplication::activeModalWidget())->reject();
        });
        wizard.ShowDialog();
        QVERIFY(wizard.Cancelled());
        QVERIFY(!QFile::exists(DbIni::pathIn(app.path())));
    }
};

QTEST_MAIN(TestConnectionWizard)
#include "TestConnectionWizard.moc"
