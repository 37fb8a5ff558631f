#include "platform/posix/SpawnProcessLauncher.h"
#include "support/Patience.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstring>

namespace {

const QString kHelper = QStringLiteral(HVX_PLATFORM_HELPER);

QJsonObject readRecord(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QJsonDocument::fromJson(file.readAll()).object();
}

// The pid a child wrote, once it has written it.
qint64 pidIn(const QString& path) {
    if (!QTest::qWaitFor([&] { return QFile(path).size() > 0; }, hvx::test::kPatienceMs)) {
        return 0;
    }
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toLongLong() : 0;
}

bool processExists(qint64 pid) {
    // A zombie still has its /proc entry; a reaped child has none.
    return QFile::exists(QStringLiteral("/proc/%1").arg(pid));
}

}  // namespace

class TestSpawnProcessLauncher : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void failureGivesErrnoAndItsText_data() {
        QTest::addColumn<QString>("program");
        QTest::addColumn<int>("errorNumber");
        QTest::newRow("missing file") << QStringLiteral("/nonexistent/HvxMonCore") << ENOENT;
        QTest::newRow("missing on PATH") << QStringLiteral("hvx-no-such-program") << ENOENT;
        QTest::newRow("not executable") << QStringLiteral("not-executable") << EACCES;
        QTest::newRow("a folder") << QStringLiteral("folder") << EACCES;
    }
    void failureGivesErrnoAndItsText() {
        QFETCH(QString, program);
        QFETCH(int, errorNumber);
        QTemporaryDir work;
        QFile plain(work.filePath(QStringLiteral("not-executable")));
        QVERIFY(plain.open(QIODevice::WriteOnly));
        plain.write("#!/bin/sh\n");
        plain.close();
        QVERIFY(QDir(work.path()).mkdir(QStringLiteral("folder")));
        if (!program.startsWith(QLatin1Char('/')) && QFile::exists(work.filePath(program))) {
            program = work.filePath(program);
        }

        hvx::SpawnProcessLauncher launcher;
        const hvx::LaunchResult result =
            launcher.start(program, {}, hvx::WindowStyle::MinimizedNoActivate);
        QVERIFY(!result.started);
        QCOMPARE(result.errorNumber, errorNumber);
        QCOMPARE(result.errorDescription, QString::fromLocal8Bit(std::strerror(errorNumber)));
    }

    void argumentsArriveAsData_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("none") << QStringList();
        QTest::newRow("blanks") << QStringList{QStringLiteral("North Monitor"),
                                               QStringLiteral("  padded  "), QString()};
        QTest::newRow("quotes") << QStringList{
            QStringLiteral("it's"), QStringLiteral("\"quoted\" text"), QStringLiteral("'")};
        QTest::newRow("shell syntax")
            << QStringList{QStringLiteral("a; touch PWNED"), QStringLiteral("$(touch PWNED)"),
                           QStringLiteral("`touch PWNED`"),  QStringLiteral("| touch PWNED &"),
                           QStringLiteral("$HOME"),          QStringLiteral("*"),
                           QStringLiteral("> PWNED")};
        QTest::newRow("non-ASCII and controls")
            << QStringList{QStringLiteral("Zürich 日本"), QStringLiteral("line\nbreak\ttab")};
    }
    void argumentsArriveAsData() {
        QFETCH(QStringList, arguments);
        QTemporaryDir work;
        // A shell run anywhere near would create PWNED in its working folder: make that this
        // empty folder.
        const QString previous = QDir::currentPath();
        QVERIFY(QDir::setCurrent(work.path()));
        const QString recordFile = work.filePath(QStringLiteral("record.json"));

        hvx::SpawnProcessLauncher launcher;
        const hvx::LaunchResult result =
            launcher.start(kHelper, QStringList{QStringLiteral("record"), recordFile} + arguments,
                           hvx::WindowStyle::Normal);
        QVERIFY(QDir::setCurrent(previous));
        QVERIFY2(result.started, qPrintable(result.errorDescription));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(recordFile), hvx::test::kPatienceMs);
        const QJsonObject record = readRecord(recordFile);
        QCOMPARE(record.value(QStringLiteral("arguments")).toVariant().toStringList(), arguments);
        QVERIFY(!QFile::exists(work.filePath(QStringLiteral("PWNED"))));
    }

    void showWindowReachesTheChild_data() {
        QTest::addColumn<int>("style");
        QTest::addColumn<QByteArray>("inherited");
        QTest::addColumn<QString>("expected");
        const int minimized = static_cast<int>(hvx::WindowStyle::MinimizedNoActivate);
        const int normal = static_cast<int>(hvx::WindowStyle::Normal);
        QTest::newRow("minimized") << minimized << QByteArray() << "minimized-noactivate";
        QTest::newRow("minimized with the focus")
            << static_cast<int>(hvx::WindowStyle::Minimized) << QByteArray() << "minimized";
        QTest::newRow("normal") << normal << QByteArray() << "normal";
        QTest::newRow("normal replaces the parent's")
            << normal << QByteArray("minimized-noactivate") << "normal";
        QTest::newRow("minimized replaces the parent's")
            << minimized << QByteArray("normal") << "minimized-noactivate";
    }
    void showWindowReachesTheChild() {
        QFETCH(int, style);
        QFETCH(QByteArray, inherited);
        QFETCH(QString, expected);
        if (inherited.isEmpty()) {
            qunsetenv("HVX_SHOW_WINDOW");
        } else {
            qputenv("HVX_SHOW_WINDOW", inherited);
        }
        QTemporaryDir work;
        const QString recordFile = work.filePath(QStringLiteral("record.json"));
        hvx::SpawnProcessLauncher launcher;
        const hvx::LaunchResult result = launcher.start(
            kHelper, {QStringLiteral("record"), recordFile}, static_cast<hvx::WindowStyle>(style));
        qunsetenv("HVX_SHOW_WINDOW");
        QVERIFY(result.started);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(recordFile), hvx::test::kPatienceMs);
        // Exactly once: a second entry would leave the choice to the child's getenv.
        QCOMPARE(readRecord(recordFile).value(QStringLiteral("show")).toArray(),
                 QJsonArray{expected});
    }

    // start() comes back while the child goes on; one watch per child: the ones that end are
    // collected while another still runs, and that one when it is killed.
    void childrenEndingOnTheirOwnAreEachReaped() {
        QTemporaryDir work;
        hvx::SpawnProcessLauncher launcher;
        const QString holdPid = work.filePath(QStringLiteral("hold"));
        QVERIFY(launcher
                    .start(kHelper, {QStringLiteral("hold"), QStringLiteral("Held"), holdPid},
                           hvx::WindowStyle::MinimizedNoActivate)
                    .started);
        QList<qint64> ended;
        for (int exitCode = 0; exitCode < 3; ++exitCode) {
            const QString pidFile = work.filePath(QString::number(exitCode));
            QVERIFY(
                launcher
                    .start(QStringLiteral("/bin/sh"),
                           {QStringLiteral("-c"),
                            QStringLiteral("echo $$ > '%1'; exit %2").arg(pidFile).arg(exitCode)},
                           hvx::WindowStyle::Normal)
                    .started);
            ended.append(pidIn(pidFile));
            QVERIFY(ended.last() > 0);
        }
        for (const qint64 pid : ended) {
            QTRY_VERIFY_WITH_TIMEOUT(!processExists(pid), hvx::test::kPatienceMs);
        }
        const qint64 held = pidIn(holdPid);
        QVERIFY(held > 0 && processExists(held));
        QCOMPARE(::kill(static_cast<pid_t>(held), SIGTERM), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!processExists(held), hvx::test::kPatienceMs);
    }
};

QTEST_GUILESS_MAIN(TestSpawnProcessLauncher)
#include "TestSpawnProcessLauncher.moc"
