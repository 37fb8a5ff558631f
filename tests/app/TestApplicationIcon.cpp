// The shipped icon is compiled into the program and draws at every size it is shown at; the
// main window wears it, and the warning picture only while the error indicator is up.
#include "app/ApplicationIcon.h"
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
    // Sharp at twice the size too: rendered at that size, not scaled from a small picture. The
    // screen's dark frame runs from 4/64 to 9/64 of the width.
    void theIconDrawsAtEverySize() {
        for (const int size : {16, 64, 128}) {
            const QImage image = applicationIcon().pixmap(size, size).toImage();
            QCOMPARE(image.width(), size);
            QCOMPARE(image.pixelColor(size * 6 / 64, size / 2).name(), QStringLiteral("#1f3b5c"));
        }
    }

    void theWindowWearsItWhileNoErrorShows() {
        QApplication::setWindowIcon(applicationIcon());
        TestEnvironment t;
        SystemSettings settings;
        frmMonitor window(*t.ctx, settings);
        for (const char* info : {"", "Error 3021", ""}) {
            t.setControl("ErrorInfo", QString::fromLatin1(info));
            window.ShowStatus();
            QCOMPARE(window.windowIcon().cacheKey() == QApplication::windowIcon().cacheKey(),
                     *info == '\0');
        }
    }
};

QTEST_MAIN(TestApplicationIcon)
#include "TestApplicationIcon.moc"
