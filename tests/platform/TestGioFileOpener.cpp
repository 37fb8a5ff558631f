// Viewing the log through the desktop's associations, with GIO reading a private desktop:
// desktop entries, mimeapps.list and stand-in programs (viewer, terminal, file manager) that
// record how they were started.
#include "commands/LogCommands.h"
#include "fakes/TestEnvironment.h"
#include "platform/posix/GioFileOpener.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

using namespace hvx;
using namespace hvx::test;

namespace {

void writeFile(const QString& path, const QByteArray& text, bool executable = false) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(text);
    file.close();
    if (executable) {
        file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
    }
}

QString readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

}  // namespace

class TestGioFileOpener : public QObject {
    Q_OBJECT

    QTemporaryDir home_;
    QString bin_;
    QString records_;
    QString logFolder_;

    // Makes `entry` the desktop's default for `type`, the way a desktop's "always open with"
    // does, so GIO sees the change at once.
    static void setDefault(const char* entry, const char* type) {
        GAppInfo* application = G_APP_INFO(g_desktop_app_info_new(entry));
        QVERIFY(application != nullptr);
        QVERIFY(g_app_info_set_as_default_for_type(application, type, nullptr));
        g_object_unref(application);
    }

    // A stand-in program that appends "FOO|arguments" to its record.
    void standIn(const QString& name) {
        writeFile(bin_ + QLatin1Char('/') + name,
                  "#!/bin/sh\nprintf '%s|%s\\n' \"$FOO\" \"$*\" >> '" +
                      QFile::encodeName(records_ + QLatin1Char('/') + name) + "'\n",
                  true);
    }
    QString record(const QString& name) const {
        return readFile(records_ + QLatin1Char('/') + name);
    }

    // Runs View Log File on a log in a folder with a space in its name.
    void viewLog(TestEnvironment& t, GioFileOpener& opener, const QString& log) {
        t.env.fileOpener = &opener;
        t.errors().SetLogFile(log);
        ViewLogFile(*t.ctx, [] {});
    }

  private Q_SLOTS:
    void initTestCase() {
        QVERIFY(home_.isValid());
        bin_ = home_.filePath(QStringLiteral("bin"));
        records_ = home_.filePath(QStringLiteral("records"));
        logFolder_ = home_.filePath(QStringLiteral("local folder"));
        QDir().mkpath(records_);
        QDir().mkpath(logFolder_);
        QDir().mkpath(bin_);
        QFile::link(QStringLiteral("/usr/bin/env"), bin_ + QStringLiteral("/env"));
        standIn(QStringLiteral("viewer"));
        standIn(QStringLiteral("termviewer"));
        standIn(QStringLiteral("filemanager"));
        // The terminal records how it was asked and runs the command after its option
        // ("-e", or "--" for gnome-terminal), as a terminal would.
        writeFile(bin_ + QStringLiteral("/gnome-terminal"),
                  "#!/bin/sh\nprintf '%s\\n' \"$*\" >> '" +
                      QFile::encodeName(records_ + QStringLiteral("/terminal")) +
                      "'\nshift\nexec \"$@\"\n",
                  true);
        const QString applications = home_.filePath(QStringLiteral("data/applications/"));
        writeFile(applications + QStringLiteral("hvx-viewer.desktop"),
                  "[Desktop Entry]\nType=Application\nName=Viewer\n"
                  "Exec=env FOO=1 viewer %f\nMimeType=text/plain;\n");
        writeFile(applications + QStringLiteral("hvx-termviewer.desktop"),
                  "[Desktop Entry]\nType=Application\nName=Terminal viewer\n"
                  "Exec=termviewer %f\nTerminal=true\nMimeType=text/plain;\n");
        writeFile(applications + QStringLiteral("hvx-files.desktop"),
                  "[Desktop Entry]\nType=Application\nName=Files\n"
                  "Exec=filemanager %U\nMimeType=inode/directory;\n");
        // GIO reads these once, at its first call: nothing of the machine's desktop but its
        // MIME database is seen.
        qputenv("PATH", QFile::encodeName(bin_));
        qputenv("XDG_DATA_HOME", QFile::encodeName(home_.filePath(QStringLiteral("data"))));
        qputenv("XDG_DATA_DIRS", "/usr/share");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home_.filePath(QStringLiteral("config"))));
        qputenv("XDG_CONFIG_DIRS", QFile::encodeName(home_.filePath(QStringLiteral("none"))));
        setDefault("hvx-files.desktop", "inode/directory");
    }

    void init() {
        for (const QString& name : QDir(records_).entryList(QDir::Files)) {
            QFile::remove(records_ + QLatin1Char('/') + name);
        }
    }

    void theWholeExecLineRunsOnTheLog_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("a log with lines") << QByteArray("2026-11-24 04:00:00  ERROR  x\n");
        QTest::newRow("an emptied log") << QByteArray();
    }
    void theWholeExecLineRunsOnTheLog() {
        QFETCH(QByteArray, content);
        setDefault("hvx-viewer.desktop", "text/plain");
        const QString log = logFolder_ + QStringLiteral("/monitorlog.txt");
        writeFile(log, content);
        TestEnvironment t;
        GioFileOpener opener;
        viewLog(t, opener, log);
        QVERIFY2(t.boxes.texts().isEmpty(), qPrintable(t.boxes.texts().join(QLatin1Char('\n'))));
        QTRY_COMPARE(record(QStringLiteral("viewer")), QStringLiteral("1|") + log + '\n');
    }

    void aTerminalProgramRunsInATerminal() {
        setDefault("hvx-termviewer.desktop", "text/plain");
        const QString log = logFolder_ + QStringLiteral("/monitorlog.txt");
        writeFile(log, "line\n");
        TestEnvironment t;
        GioFileOpener opener;
        viewLog(t, opener, log);
        QVERIFY(t.boxes.texts().isEmpty());
        QTRY_COMPARE(record(QStringLiteral("termviewer")), QStringLiteral("|") + log + '\n');
        QVERIFY2(record(QStringLiteral("terminal")).contains(QStringLiteral("termviewer")),
                 qPrintable(record(QStringLiteral("terminal"))));
    }

    void aTypeWithoutProgramIsNotAssociated() {
        const QString log = logFolder_ + QStringLiteral("/monitorlog.hvx-unknown-type");
        writeFile(log, "line\n");
        TestEnvironment t;
        GioFileOpener opener;
        viewLog(t, opener, log);
        QCOMPARE(t.boxes.texts(),
                 QStringList{QStringLiteral("Could not find a program associated with ") + log +
                             QStringLiteral(". Please open the file using your normal text "
                                            "editor.")});
    }

    void aProgramGoneSinceTheLookupIsNotStarted() {
        setDefault("hvx-viewer.desktop", "text/plain");
        GioFileOpener opener;
        const auto program = opener.associatedProgram(QStringLiteral("/x/monitorlog.txt"));
        QCOMPARE(program, std::optional<QString>(QStringLiteral("hvx-viewer.desktop")));
        QVERIFY(!opener.open(QStringLiteral("hvx-gone.desktop"), QStringLiteral("/x/a.txt")));
    }

    void aFolderOpensInTheFileManager() {
        GioFileOpener opener;
        QVERIFY(opener.openFolder(logFolder_));
        QTRY_COMPARE(record(QStringLiteral("filemanager")),
                     QStringLiteral("|") + logFolder_ + '\n');
    }
};

QTEST_GUILESS_MAIN(TestGioFileOpener)
#include "TestGioFileOpener.moc"
