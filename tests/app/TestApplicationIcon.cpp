// The shipped icon is compiled into the program and draws at every size it is shown at; the
// main window wears it, and the warning picture only while the error indicator is up.
#include "app/ApplicationIcon.h"
#include "channel/RegFunctions.h"
#include "fakes/TestEnvironment.h"
#include "settings/SystemSettings.h"
#include "supervision/frmMonitor.h"

#include <QApplication>
#include <QIcon>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

class TestApplicationIcon : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // Sharp at twice the size too: rendered at that size, not scaled from a small picture.
    void theIconDrawsAtEverySize_data() {
        QTest::addColumn<int>("size");
        QTest::newRow("16") << 16;
        QTest::newRow("64") << 64;
        QTest::newRow("128 (scale 2)") << 128;
    }
    void theIconDrawsAtEverySize() {
        QFETCH(int, size);
        const QIcon icon = applicationIcon();
        const QImage image = icon.pixmap(size, size).toImage();
        QCOMPARE(image.width(), size);
        // The screen's dark frame (from 4/64 to 9/64 of the width).
        const QColor frame = image.pixelColor(size * 6 / 64, size / 2);
        QCOMPARE(frame.name(), QStringLiteral("#1f3b5c"));
    }

    void theWindowWearsItWhileNoErrorShows() {
        const QIcon icon = applicationIcon();
        QApplication::setWindowIcon(icon);
        TestEnvironment t;
        SystemSettings settings;
        frmMonitor window(*t.ctx, settings);
        QCOMPARE(window.windowIcon().cacheKey(), icon.cacheKey());
        SaveRegValue(*t.ctx, t.ctx->controlsSection, QStringLiteral("ErrorInfo"),
                     QStringLiteral("Error 3021"));
        window.ShowStatus();
        QVERIFY(window.windowIcon().cacheKey() != icon.cacheKey());
        SaveRegValue(*t.ctx, t.ctx->controlsSection, QStringLiteral("ErrorInfo"), QString());
        window.ShowStatus();
        QCOMPARE(window.windowIcon().cacheKey(), icon.cacheKey());
    }
};

QTEST_MAIN(TestApplicationIcon)
#include "TestApplicationIcon.moc"
