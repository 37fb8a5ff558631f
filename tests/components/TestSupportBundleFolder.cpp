// Where the mail program cannot take the support bundle, its folder opens in the file manager.
#include "components/SupportBundleSender.h"
#include "fakes/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

class TestSupportBundleFolder : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void theFolderOpensOnlyWhenTheHandOverFails_data() {
        QTest::addColumn<bool>("mailerStarts");
        QTest::newRow("hand-over fails") << false;
        QTest::newRow("hand-over succeeds") << true;
    }
    void theFolderOpensOnlyWhenTheHandOverFails() {
        QFETCH(bool, mailerStarts);
        TestEnvironment t;
        // A mail program to find; whether it starts is the launcher's answer.
        const QString bin = t.folder.filePath(QStringLiteral("bin"));
        QDir().mkpath(bin);
        QFile mailer(bin + QStringLiteral("/xdg-email"));
        QVERIFY(mailer.open(QIODevice::WriteOnly));
        mailer.write("#!/bin/sh\n");
        mailer.close();
        mailer.setPermissions(mailer.permissions() | QFileDevice::ExeOwner);
        qputenv("PATH", QFile::encodeName(bin));
        if (!mailerStarts) {
            t.launcher.failWith = LaunchResult{false, 2, QStringLiteral("No such file")};
        }
        const QString logFolder = t.folder.filePath(QStringLiteral("local"));
        QDir().mkpath(logFolder);
        t.errors().SetLogFile(logFolder + QStringLiteral("/monitorlog.txt"));

        SupportBundleSender sender(t.clock, t.boxes, t.launcher, QStringLiteral("Monitor"));
        sender.SetErrorManager(&t.errors());
        sender.setFolderOpener(&t.fileOpener);
        sender.SendLog();
        QCOMPARE(t.fileOpener.openedFolders, mailerStarts ? QStringList() : QStringList{logFolder});
    }
};

QTEST_GUILESS_MAIN(TestSupportBundleFolder)
#include "TestSupportBundleFolder.moc"
