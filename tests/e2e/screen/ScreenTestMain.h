#pragma once

#include "XSession.h"

#include <QApplication>
#include <QTest>

// A test main that runs the test object on a private X display with a window manager. The
// test process joins that display too, so it draws the expected texts and pictures with the same
// fonts, style and icons as the programs under test. Without Xvfb or openbox it stays offscreen and
// the tests skip.
#define HVX_SCREEN_TEST_MAIN(TestObject)        \
    int main(int argc, char* argv[]) {          \
        hvx::test::XSession session;            \
        if (session.start()) {                  \
            qputenv("QT_QPA_PLATFORM", "xcb");  \
        }                                       \
        QApplication application(argc, argv);   \
        TestObject test(session);               \
        return QTest::qExec(&test, argc, argv); \
    }

// In initTestCase: skip when the tools are missing, fail when they are there but do not run.
#define HVX_REQUIRE_SCREEN(session)                                            \
    do {                                                                       \
        if (!(session).missing().isEmpty()) {                                  \
            QSKIP(qPrintable(QStringLiteral("not installed: ") +               \
                             (session).missing().join(QStringLiteral(", ")))); \
        }                                                                      \
        QVERIFY2((session).running(), qPrintable((session).problem()));        \
    } while (false)
