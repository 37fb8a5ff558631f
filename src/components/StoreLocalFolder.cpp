#include "StoreLocalFolder.h"

#include "platform/RegistryStore.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <utility>

namespace hvx {

namespace {

QString configuredFolder(const Factory<RegistryStore>& factory, const QString& keyPath) {
    if (!factory || keyPath.isEmpty()) {
        return {};
    }
    const auto store = factory();
    QVariant value;
    int type = 0;
    if (!store || store->QueryValue(RegistryStore::kCurrentUser, keyPath, QStringLiteral("Folder"),
                                    value, type) != RegistryStore::kStatusOk) {
        return {};
    }
    return value.toString();
}

QString defaultFolder() {
    QString data = qEnvironmentVariable("XDG_DATA_HOME");
    if (data.isEmpty()) {
        data = QDir::homePath() + QStringLiteral("/.local/share");
    }
    return data + QStringLiteral("/halvex/help-desk");
}

bool writable(const QString& folder) {
    if (!QDir().mkpath(folder)) {
        return false;
    }
    QTemporaryFile probe(folder + QStringLiteral("/.probe-XXXXXX"));
    return probe.open();
}

}  // namespace

StoreLocalFolder::StoreLocalFolder(Factory<RegistryStore> store) : store_(std::move(store)) {}

QString StoreLocalFolder::GetLocalFolder() {
    QString folder = configuredFolder(store_, registryPath_);
    if (folder.isEmpty()) {
        folder = defaultFolder();
    }
    folder = QDir::cleanPath(folder);
    return writable(folder) ? folder : QString();
}

}  // namespace hvx
