#include "fakes/TestFiles.h"
#include "support/ToolRun.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using hvx::test::ToolRun;

namespace {

// `asOwnerOnly`: root bypasses file permissions; without the capabilities to do so it meets
// them like any user.
ToolRun hvxReg(const QString& registry, const QStringList& arguments, bool asOwnerOnly = false) {
    QProcessEnvironment environment;
    environment.insert(u"HVX_REGISTRY"_s, registry);
    return hvx::test::runTool(u"hvx-reg"_s, arguments, environment, {}, asOwnerOnly);
}

}  // namespace

class TestHvxReg : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void setGetDeleteListRoundTrip() {
        QTemporaryDir folder;
        const QString registry = folder.filePath(u"registry.sqlite3"_s);
        const QString localFolder = u"Software\\Halvex\\Help Desk\\Local Folder"_s;
        const QString north = u"Software\\Halvex\\Help Desk\\Monitor\\Controls:North"_s;
        const QString greeting = u"Grüße 日本"_s;
        struct Step {
            QStringList arguments;
            int code;
            QString out;
            QString err;  // a part of stderr; stderr must be empty when this is
        };
        const Step steps[] = {
            {{"get", "Options", "StopSendingEmail"}, 1, "", "no value StopSendingEmail in Options"},
            {{"get", "Options", "StopSendingEmail", "0"}, 0, "0\n", ""},
            {{"set", "Options", "StopSendingEmail", "1"}, 0, "", ""},
            {{"get", "OPTIONS", "stopsendingemail", "0"}, 0, "1\n", ""},
            {{"set", "Controls:North", "Status", greeting}, 0, "", ""},
            {{"set", "--number", "Controls", "State", "999"}, 0, "", ""},
            {{"set", "Controls", "Empty", ""}, 0, "", ""},
            {{"get", "Controls", "Empty", "default"}, 0, "\n", ""},
            {{"list"},
             0,
             "Controls\tEmpty\t\nControls\tState\t999\nControls:North\tStatus\t" + greeting +
                 "\nOptions\tStopSendingEmail\t1\n",
             ""},
            {{"delete", "Controls"}, 0, "", ""},
            {{"delete", "Controls"}, 0, "", ""},
            {{"delete", "Options", "StopSendingEmail"}, 0, "", ""},
            {{"list"}, 0, "Controls:North\tStatus\t" + greeting + "\n", ""},
            {{"--key", localFolder, "set", "Folder", "/srv/help desk"}, 0, "", ""},
            {{"--key", localFolder.toLower(), "get", "Folder"}, 0, "/srv/help desk\n", ""},
            {{"--key", localFolder, "list"}, 0, localFolder + "\tFolder\t/srv/help desk\n", ""},
            {{"--key", north, "get", "Status"}, 0, greeting + "\n", ""},
        };
        for (const Step& step : steps) {
            const ToolRun run = hvxReg(registry, step.arguments);
            const QByteArray what = step.arguments.join(u' ').toUtf8();
            QVERIFY2(run.code == step.code, what + " exited with " + run.err.toUtf8());
            QVERIFY2(run.out == step.out, what + " printed " + run.out.toUtf8());
            QVERIFY2(step.err.isEmpty() ? run.err.isEmpty() : run.err.contains(step.err),
                     what + " complained " + run.err.toUtf8());
        }
    }

    void badUsageExitsWithTwo_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("nothing") << QStringList{} << u"no command"_s;
        QTest::newRow("unknown command") << QStringList{"fetch", "A", "B"} << u"unknown command"_s;
        QTest::newRow("set without value")
            << QStringList{"set", "Options", "A"} << u"wrong number"_s;
        QTest::newRow("empty section") << QStringList{"get", "", "A"} << u"must not be empty"_s;
        QTest::newRow("number that is not")
            << QStringList{"set", "--number", "A", "B", "x"} << u"not a 32-bit whole number"_s;
    }
    void badUsageExitsWithTwo() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        QTemporaryDir folder;
        const QString registry = folder.filePath(u"registry.sqlite3"_s);
        const ToolRun run = hvxReg(registry, arguments);
        QCOMPARE(run.code, 2);
        QVERIFY2(run.err.contains(message) && run.out.isEmpty(), qPrintable(run.err));
        QVERIFY(!QFileInfo::exists(registry));
    }

    void anUnusableStoreIsNamed_data() {
        QTest::addColumn<QString>("relativePath");
        QTest::addColumn<QString>("reason");
        QTest::newRow("below a regular file")
            << u"garbage/registry.sqlite3"_s << u"Not a directory"_s;
        QTest::newRow("a file that cannot be written") << u"read-only"_s << u"Permission denied"_s;
    }
    void anUnusableStoreIsNamed() {
        QFETCH(QString, relativePath);
        QFETCH(QString, reason);
        QTemporaryDir folder;
        QVERIFY(hvx::test::writeFile(folder.filePath(u"garbage"_s), QByteArray(4096, 'g')));
        const QString readOnly = folder.filePath(u"read-only"_s);
        QCOMPARE(hvxReg(readOnly, {"set", "Options", "A", "1"}).code, 0);
        QVERIFY(QFile::setPermissions(readOnly, QFile::ReadOwner));
        const QString registry = folder.filePath(relativePath);
        for (const QStringList& arguments :
             {QStringList{"get", "Options", "A", "default"},
              QStringList{"set", "Options", "A", "1"}, QStringList{"delete", "Options"},
              QStringList{"list"}}) {
            const ToolRun run = hvxReg(registry, arguments, true);
            QCOMPARE(run.code, 1);
            QVERIFY2(run.err.contains(registry) && run.err.contains(reason), qPrintable(run.err));
        }
    }
};

QTEST_GUILESS_MAIN(TestHvxReg)
#include "TestHvxReg.moc"
