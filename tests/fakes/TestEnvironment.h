#pragma once

#include "FakeOsServices.h"
#include "RecordingErrorManager.h"
#include "ScriptedMessageBoxes.h"
#include "SettableClock.h"
#include "channel/AppContext.h"
#include "platform/Environment.h"

#include <QTemporaryDir>

#include <memory>

namespace hvx::test {

// A complete environment for one test: a settable clock, scripted message boxes, the real
// store in a private temporary file, and a context whose error manager records what it is
// told. Each instance is independent of every other.
class TestEnvironment {
  public:
    TestEnvironment();

    Environment env;
    SettableClock clock;
    ScriptedMessageBoxes boxes;
    FakeComputer computer;
    FakeInstanceGuard instanceGuard;
    FakeUserInterface userInterface{clock};
    FakeWindows windows;
    FakeLauncher launcher;
    FakeFileOpener fileOpener;
    QTemporaryDir folder;
    QString registryPath;
    std::unique_ptr<AppContext> ctx;

    // The context's error manager.
    RecordingErrorManager& errors();
    // A value of the store as the channel reads it, "<missing>" when it has none; in the
    // context's controls section unless another section is named.
    QString control(const char* name, const QString& section = {});
    void setControl(const char* name, const QString& text, const QString& section = {});
};

}  // namespace hvx::test
