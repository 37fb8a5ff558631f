#include "components/DbIni.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/ui/QtConnectionWizard.h"
#include "fakes/SettableClock.h"

#include <QApplication>
#include <QCheckBox>
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
