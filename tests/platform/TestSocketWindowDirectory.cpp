#include "platform/posix/SocketWindowDirectory.h"
#include "support/Patience.h"

#include <QProcess>
#include <QTest>

#include <csignal>

namespace {

// The lookups of this process use the session in force when they are made.
void useSession(const QByteArray& session) {
    qputenv("HVX_SESSION", session);
}

// A helper process that announces `caption` in `session` until it is killed.
std::unique_ptr<QProcess> holdElsewhere(const QString& caption, const QByteArray& session) {
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HVX_SESSION"), QString::fromUtf8(session));
    process->setProcessEnvironment(environment);
    process->start(QStringLiteral(HVX_PLATFORM_HELPER), {QStringLiteral("hold"), caption});
    if (!process->waitForReadyRead(hvx::test::kPatienceMs) ||
        !process->readAll().startsWith("ready")) {
        return nullptr;
    }
    return process;
}

}  // namespace

class TestSocketWindowDirectory : public QObject {
    Q_OBJECT

  private:
    QByteArray session_;

  private Q_SLOTS:
    void init() { session_ = qgetenv("HVX_SESSION"); }
    void cleanup() { useSession(session_); }

    void announceFindWithdrawInProcess() {
        hvx::SocketWindowDirectory windows;
        const QString timer = QStringLiteral("Halvex Help Desk Monitor Timer");
        const QString renamed = QStringLiteral("Halvex Help Desk Monitor (Running)");
        QVERIFY(!windows.findWindow(timer));
        {
            auto announcement = windows.announce(timer);
            QVERIFY(windows.findWindow(timer));
            announcement->setCaption(renamed);
            QVERIFY(!windows.findWindow(timer));
            QVERIFY(windows.findWindow(renamed));
            announcement->setCaption(timer);
            QVERIFY(windows.findWindow(timer));
            QVERIFY(!windows.findWindow(renamed));
            // Asked over and over, the caption stays found (lookups are never accepted, so
            // they pile up on the holder's listening socket).
            for (int i = 0; i < 50; ++i) {
                QVERIFY(windows.findWindow(timer));
            }
        }
        QVERIFY(!windows.findWindow(timer));
    }

    void onlyTheExactCaptionIsFound_data() {
        QTest::addColumn<QString>("held");
        QTest::addColumn<QString>("asked");
        QTest::addColumn<bool>("found");
        const QString timer = QStringLiteral("North Monitor Timer");
        QTest::newRow("same") << timer << timer << true;
        QTest::newRow("other case") << timer << timer.toUpper() << false;
        QTest::newRow("trailing blank") << timer << timer + QLatin1Char(' ') << false;
        QTest::newRow("prefix") << timer << QStringLiteral("North Monitor") << false;
        QTest::newRow("non-ASCII") << QStringLiteral("Zürich Monitor Timer")
                                   << QStringLiteral("Zürich Monitor Timer") << true;
        QTest::newRow("decomposed umlaut") << QStringLiteral("Zürich Monitor Timer")
                                           << QStringLiteral("Zu\u0308rich Monitor Timer") << false;
        QTest::newRow("empty") << QString() << QString() << true;
        const QString longCaption(300, QLatin1Char('x'));
        QTest::newRow("long") << longCaption << longCaption << true;
        QTest::newRow("long, last character differs")
            << longCaption << longCaption.left(299) + QLatin1Char('y') << false;
    }
    void onlyTheExactCaptionIsFound() {
        QFETCH(QString, held);
        QFETCH(QString, asked);
        QFETCH(bool, found);
        hvx::SocketWindowDirectory windows;
        const auto announcement = windows.announce(held);
        QCOMPARE(windows.findWindow(asked), found);
    }

    void anotherProcessHoldsUntilKilled() {
        const QString caption = QStringLiteral("Crash Test Monitor Timer");
        hvx::SocketWindowDirectory windows;
        auto holder = holdElsewhere(caption, session_);
        QVERIFY(holder);
        QVERIFY(windows.findWindow(caption));
        // A second announcement of a caption held elsewhere does not take it over, and its end
        // does not withdraw the other process's window.
        windows.announce(caption).reset();
        QVERIFY(windows.findWindow(caption));

        ::kill(static_cast<pid_t>(holder->processId()), SIGKILL);
        QVERIFY(holder->waitForFinished(hvx::test::kPatienceMs));
        // The kernel frees the name with the process: no grace period.
        QVERIFY(!windows.findWindow(caption));
        auto mine = windows.announce(caption);
        QVERIFY(windows.findWindow(caption));
    }

    void sessionsDoNotSeeEachOther_data() {
        QTest::addColumn<QByteArray>("holderSession");
        QTest::addColumn<QByteArray>("lookupSession");
        QTest::addColumn<bool>("found");
        const QByteArray longPrefix = "test_supervision_core_launch_and_";
        QTest::newRow("same session") << QByteArray("alpha") << QByteArray("alpha") << true;
        QTest::newRow("other session") << QByteArray("alpha") << QByteArray("beta") << false;
        QTest::newRow("session against none") << QByteArray("alpha") << QByteArray() << false;
        QTest::newRow("none against none") << QByteArray() << QByteArray() << true;
        QTest::newRow("same long session")
            << longPrefix + "renewal" << longPrefix + "renewal" << true;
        QTest::newRow("long sessions differing late")
            << longPrefix + "renewal" << longPrefix + "timeout" << false;
    }
    void sessionsDoNotSeeEachOther() {
        QFETCH(QByteArray, holderSession);
        QFETCH(QByteArray, lookupSession);
        QFETCH(bool, found);
        const QString caption = QStringLiteral("Session Monitor Timer");
        const auto holder = holdElsewhere(caption, holderSession);
        QVERIFY(holder);
        useSession(lookupSession);
        QCOMPARE(hvx::SocketWindowDirectory().findWindow(caption), found);
    }
};

QTEST_GUILESS_MAIN(TestSocketWindowDirectory)
#include "TestSocketWindowDirectory.moc"
