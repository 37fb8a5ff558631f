#include "channel/RegFunctions.h"
#include "commands/NetSendAlerts.h"
#include "fakes/TestEnvironment.h"
#include "platform/posix/SpawnProcessLauncher.h"
#include "support/Patience.h"
#include "support/WebhookServer.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

// The real thing: the Monitor's alerts through the real launcher and the real hvx-net-send,
// to a webhook on this machine. That shell characters stay data is shown by each link of the
// chain on its own (the alert batch, the launcher and hvx-net-send).
class TestAlertDelivery : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // Above 64 KiB the text goes on standard input; an argument would fail above 128 KiB.
    void aMessageOfAnyLengthArrivesWhole_data() {
        QTest::addColumn<int>("length");
        QTest::newRow("64 KiB, as an argument") << 64 * 1024;
        QTest::newRow("64 KiB and one, on standard input") << 64 * 1024 + 1;
        QTest::newRow("1 MiB") << 1024 * 1024;
        QTest::newRow("a lone dash") << 1;
    }
    void aMessageOfAnyLengthArrivesWhole() {
        QFETCH(int, length);
        TestEnvironment t;
        SpawnProcessLauncher launcher;
        t.env.launcher = &launcher;
        t.env.applicationFolder = qEnvironmentVariable("HVX_BIN_DIR");
        WebhookServer hook;
        QVERIFY(hook.listening());
        // Varied text, so that a cut or a repeated block cannot pass for the whole.
        QString message = length == 1 ? QStringLiteral("-") : QString();
        for (int i = 0; message.size() < length; ++i) {
            message += QStringLiteral("alert %1 é; ").arg(i);
        }
        message.truncate(length);
        SaveRegValue(*t.ctx, t.ctx->optionsSection, QStringLiteral("AlertMsg"), message);
        SaveRegValue(*t.ctx, t.ctx->optionsSection, QStringLiteral("AlertOp1"),
                     hook.url(QStringLiteral("/long")));

        SendOperatorAlerts(*t.ctx);

        QTRY_COMPARE_WITH_TIMEOUT(hook.requests().size(), 1u, 15'000);
        const QString arrived = QJsonDocument::fromJson(hook.requests().front().body)
                                    .object()
                                    .value(QStringLiteral("text"))
                                    .toString();
        QVERIFY2(arrived == message, qPrintable(QString::number(arrived.size())));
    }
};

QTEST_GUILESS_MAIN(TestAlertDelivery)
#include "TestAlertDelivery.moc"
