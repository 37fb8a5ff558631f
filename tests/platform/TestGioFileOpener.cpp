// Viewing the log through the desktop's associations, with GIO reading a private desktop:
// desktop entries, mimeapps.list and stand-in programs (viewer, terminal, file manager) that
// record how they were started.
#include "commands/LogCommands.h"
#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"
#include "platform/posix/GioFileOpener.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

using namespace Qt::StringLiterals;
using namespace hvx;
using namespace hvx::test;

class TestGioFileOpener : public QObject {
    Q_OBJECT

    QTemporaryDir home_;
    QString bin_ = home_.filePath(u"bin/"_s);
    QString record_ = home_.filePath(u"record"_s);
    QString logFolder_ = home_.filePath(u"local folder"_s);

    // Makes `entry` the desktop's default for `type`, the way a desktop's "always open with"
    // does, so GIO sees the change at once.
    static void setDefault(const QByteArray& entry, const char* type) {
        GAppInfo* application = G_APP_INFO(g_desktop_app_info_new(entry.constData()));
        QVERIFY(application != nullptr);
        QVERIFY(g_app_info_set_as_default_for_type(application, type, nullptr));
        g_object_unref(application);
    }

    QString record() const {
        QFile file(record_);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    void desktopEntry(const QString& name, const QByteArray& lines) {
        QVERIFY(
            writeFile(home_.filePath(u"data/applications/"_s) + name,
                      "[Desktop Entry]\nType=Application\nName=" + name.toUtf8() + '\n' + lines));
    }

  private Q_SLOTS:
    void initTestCase() {
        for (const QString& folder : {bin_, logFolder_, home_.filePath(u"data/applications"_s)}) {
            QVERIFY(QDir().mkpath(folder));
        }
        // Each stand-in program appends "name|FOO|arguments" to the record; the terminal then
        // runs the command after its option ("-e", or "--" for gnome-terminal), as one would.
        QVERIFY(writeScript(bin_ + u"stand-in"_s,
                            "printf '%s|%s|%s\\n' \"${0##*/}\" \"$FOO\" \"$*\" >> '" +
                                QFile::encodeName(record_) +
                                "'\n[ \"${0##*/}\" = gnome-terminal ] && shift && exec \"$@\"\n"));
        for (const char* name : {"viewer", "termviewer", "filemanager", "gnome-terminal"}) {
            QVERIFY(QFile::link(bin_ + u"stand-in"_s, bin_ + QLatin1String(name)));
        }
        QFile::link(u"/usr/bin/env"_s, bin_ + u"env"_s);
        desktopEntry(u"hvx-viewer.desktop"_s, "Exec=env FOO=1 viewer %f\nMimeType=text/plain;\n");
        desktopEntry(u"hvx-termviewer.desktop"_s,
                     "Exec=termviewer %f\nTerminal=true\nMimeType=text/plain;\n");
        desktopEntry(u"hvx-files.desktop"_s, "Exec=filemanager %U\nMimeType=inode/directory;\n");
        // GIO reads these once, at its first call: nothing of the machine's desktop but its
        // MIME database is seen.
        qputenv("PATH", QFile::encodeName(bin_));
        qputenv("XDG_DATA_HOME", QFile::encodeName(home_.filePath(u"data"_s)));
        qputenv("XDG_DATA_DIRS", "/usr/share");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home_.filePath(u"config"_s)));
        qputenv("XDG_CONFIG_DIRS", QFile::encodeName(home_.filePath(u"none"_s)));
        setDefault("hvx-files.desktop", "inode/directory");
    }

    void init() { QFile::remove(record_); }

    // `ran`: the record's line for the program that opened the log, up to the log's path.
    void theLogOpensAsTheDesktopWouldOpenIt_data() {
        QTest::addColumn<QByteArray>("entry");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("ran");
        QTest::newRow("the whole Exec line, a log with lines")
            << QByteArray("hvx-viewer.desktop") << QByteArray("2026-11-24 04:00:00  ERROR  x\n")
            << u"viewer|1|"_s;
        QTest::newRow("the whole Exec line, an emptied log")
            << QByteArray("hvx-viewer.desktop") << QByteArray() << u"viewer|1|"_s;
        QTest::newRow("a terminal program, in a terminal")
            << QByteArray("hvx-termviewer.desktop") << QByteArray("line\n") << u"termviewer||"_s;
    }
    void theLogOpensAsTheDesktopWouldOpenIt() {
        QFETCH(QByteArray, entry);
        QFETCH(QByteArray, content);
        QFETCH(QString, ran);
        setDefault(entry, "text/plain");
        const QString log = logFolder_ + u"/monitorlog.txt"_s;
        QVERIFY(writeFile(log, content));
        TestEnvironment t;
        GioFileOpener opener;
        t.env.fileOpener = &opener;
        t.errors().SetLogFile(log);
        ViewLogFile(*t.ctx, [] {});
        QVERIFY2(t.boxes.texts().isEmpty(), qPrintable(t.boxes.texts().join(QLatin1Char('\n'))));
        QTRY_VERIFY2(record().contains(ran + log + '\n'), qPrintable(record()));
        QCOMPARE(record().contains(u"gnome-terminal|"_s), ran.startsWith(u"termviewer"_s));
    }

    void noProgramIsStartedForATypeWithoutOneOrOneGoneSinceTheLookup() {
        GioFileOpener opener;
        QVERIFY(!opener.associatedProgram(u"/x/monitorlog.hvx-unknown-type"_s));
        QVERIFY(!opener.open(u"hvx-gone.desktop"_s, u"/x/a.txt"_s));
    }

    void aFolderOpensInTheFileManager() {
        QVERIFY(GioFileOpener().openFolder(logFolder_));
        QTRY_COMPARE(record(), u"filemanager||"_s + logFolder_ + '\n');
    }
};

QTEST_GUILESS_MAIN(TestGioFileOpener)
#include "TestGioFileOpener.moc"
