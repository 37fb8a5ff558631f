#include "TestEnvironment.h"

#include "channel/RegFunctions.h"
#include "components/SqliteRegistryStore.h"

namespace hvx::test {

TestEnvironment::TestEnvironment()
    : registryPath(folder.filePath(QStringLiteral("registry.sqlite3"))) {
    env.clock = &clock;
    env.messageBoxes = &boxes;
    env.computer = &computer;
    env.instanceGuard = &instanceGuard;
    env.userInterface = &userInterface;
    env.windows = &windows;
    env.launcher = &launcher;
    env.fileOpener = &fileOpener;
    env.applicationFolder = folder.path();
    env.registryStore = SqliteRegistryStore::factory(registryPath);
    env.errorManager = [] { return std::make_unique<RecordingErrorManager>(); };
    ctx = std::make_unique<AppContext>(env);
    ctx->registryBasePath = QStringLiteral("Software\\Halvex\\Help Desk\\Monitor");
    ctx->applicationTitle = QStringLiteral("Halvex Monitor");
    ctx->errorManager = std::make_unique<RecordingErrorManager>();
}

RecordingErrorManager& TestEnvironment::errors() {
    return static_cast<RecordingErrorManager&>(*ctx->errorManager);
}

QString TestEnvironment::control(const char* name, const QString& section) {
    return GetRegValue(*ctx, section.isEmpty() ? ctx->controlsSection : section,
                       QString::fromLatin1(name), QStringLiteral("<missing>"));
}

void TestEnvironment::setControl(const char* name, const QString& text, const QString& section) {
    SaveRegValue(*ctx, section.isEmpty() ? ctx->controlsSection : section,
                 QString::fromLatin1(name), text);
}

}  // namespace hvx::test
