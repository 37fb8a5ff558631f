#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"
#include "startup/MonitorNames.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>

using namespace hvx;
using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

QString describe(const MonitorNamesList& list) {
    QStringList shown;
    for (const auto& entry : list.entries) {
        shown.append(entry.name + QLatin1Char('|') + entry.folder);
    }
    return shown.join(QLatin1Char(';'));
}

}  // namespace

class TestMonitorNames : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // Entries as name|folder; FILE stands for the file's path.
    void reading_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("entries");
        QTest::addColumn<QString>("error");
        QTest::newRow("empty file") << QByteArray() << QString() << QString();
        QTest::newRow("blank and half-empty lines skipped")
            << QByteArray("North,/a\n\n   \n,/b\nSouth,\nWest , /c\n") << u"North|/a;West|/c"_s
            << QString();
        QTest::newRow("blanks around both fields")
            << QByteArray(" Sales , /data/sales/ \n") << u"Sales|/data/sales/"_s << QString();
        QTest::newRow("CR, CR LF and LF end lines")
            << QByteArray("A,/a\rB,/b\r\nC,/c\n") << u"A|/a;B|/b;C|/c"_s << QString();
        QTest::newRow("after a second comma ignored")
            << QByteArray("A,/a,extra\n") << u"A|/a"_s << QString();
        QTest::newRow("same name twice")
            << QByteArray("A,/a\nA,/b\n") << u"A|/a;A|/b"_s << QString();
        QTest::newRow("tabs are no blanks")
            << QByteArray("\tA\t, /a\t\n") << u"\tA\t|/a\t"_s << QString();
        QTest::newRow("a line without a comma stops the reading")
            << QByteArray("North,/a\nnonsense here\nSouth,/b\n") << u"North|/a"_s
            << u"Error 9, Subscript out of range (Code 11087).\r\nFile name is: FILE.\r\n"
               "Current line is: nonsense here."_s;
    }
    void reading() {
        QFETCH(QByteArray, file);
        QFETCH(QString, error);
        TestEnvironment t;
        const QString path = t.folder.filePath(u"monitornames.txt"_s);
        QVERIFY(writeFile(path, file));
        const MonitorNamesList list = readMonitorNames(*t.ctx, path);
        QTEST(describe(list), "entries");
        QCOMPARE(list.error, error.replace(u"FILE"_s, path));
    }

    // Only a regular file of sane size is read: the rest fails at once with the dialog's
    // own message, without waiting for a writer or reading without end.
    void onlyASmallRegularFileIsRead_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("error");
        const QString denied = u"Error 75, Path/File access error: "_s;
        QTest::newRow("FIFO") << "fifo" << denied + "not a regular file";
        QTest::newRow("link to /dev/zero") << "zero" << denied + "not a regular file";
        QTest::newRow("20 MB") << "huge" << denied + "larger than 1 MiB";
        QTest::newRow("a folder") << "folder" << denied + "not a regular file";
        QTest::newRow("missing") << "missing"
                                 << u"Error 53, File not found: No such file or directory"_s;
    }
    void onlyASmallRegularFileIsRead() {
        QFETCH(QString, kind);
        QFETCH(QString, error);
        TestEnvironment t;
        const QString path = t.folder.filePath(u"monitornames.txt"_s);
        if (kind == "fifo") {
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        } else if (kind == "folder") {
            QVERIFY(QDir().mkpath(path));
        } else if (kind == "zero") {
            QVERIFY(QFile::link(u"/dev/zero"_s, path));
        } else if (kind == "huge") {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(20'000'000));
        }
        // A folder of that name is not the file: the instance list is not offered for it.
        QVERIFY(isMonitorNamesFile(path) == (kind != "missing" && kind != "folder"));
        const MonitorNamesList list = readMonitorNames(*t.ctx, path);
        QVERIFY(list.entries.empty());
        QVERIFY2(list.error.startsWith(error + u" (Code 11086).\r\nFile name is: "_s + path),
                 qPrintable(list.error));
    }

    void okChecks() {
        TestEnvironment t;
        QTemporaryDir good;
        QVERIFY(writeFile(good.filePath(u"db.ini"_s), {}));
        const std::vector<MonitorNameEntry> entries{{u"North"_s, good.path() + u"/"_s},
                                                    {u"East"_s, good.path() + u"//"_s}};
        QCOMPARE(checkInstanceChoice(*t.ctx, {}, -1).refusal.text,
                 u"Please select a Monitor instance."_s);
        const InstanceChoice north = checkInstanceChoice(*t.ctx, entries, 0);
        QVERIFY(north.accepted);
        QCOMPARE(north.folder, good.path());
        // Two trailing separators keep one.
        QCOMPARE(checkInstanceChoice(*t.ctx, entries, 1).folder, good.path() + u"/"_s);
        t.windows.open.insert(u"North Monitor"_s);
        QCOMPARE(checkInstanceChoice(*t.ctx, entries, 0).refusal.text,
                 u"This monitor is already running on this computer."_s);
        // Only the plain title counts.
        t.windows.open = {u"North Monitor (Running)"_s};
        QVERIFY(checkInstanceChoice(*t.ctx, entries, 0).accepted);
    }
};

QTEST_GUILESS_MAIN(TestMonitorNames)
#include "TestMonitorNames.moc"
