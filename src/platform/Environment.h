#pragma once

#include "RuntimeError.h"

#include <QString>

#include <functional>
#include <memory>

namespace hvx {

class Clock;
class ComputerInfo;
class ConnectionWizard;
class DatabaseManager;
class DeleteOldMessagesDialog;
class DesktopNotifier;
class ErrorManager;
class InstanceGuard;
class FileOpener;
class LocalFolder;
class LogSender;
class MessageBoxes;
class MessageWithTurnOffDialog;
class MonitorNamesDialog;
class OperatorNameDialog;
class ProcessLauncher;
class RegistryStore;
class Splash;
class SqlStringFormatter;
class SqlValueFormatter;
class StringTable;
class TermTranslator;
class UserInterface;
class WindowDirectory;

template <typename T>
using Factory = std::function<std::unique_ptr<T>()>;

// Everything the program reaches outside its own logic: product components, created through
// factories (one call, one new object), and platform services that live as long as this.
// Built by app/main.cpp, the tools, or a test; an empty factory is a component that cannot
// be created, which is how tests reach the missing-component paths.
struct Environment {
    Factory<RegistryStore> registryStore;
    Factory<ErrorManager> errorManager;
    Factory<DatabaseManager> databaseManager;
    Factory<SqlStringFormatter> sqlStringFormatter;
    Factory<SqlValueFormatter> sqlValueFormatter;
    Factory<StringTable> stringTable;
    Factory<LocalFolder> localFolder;
    Factory<Splash> splash;
    Factory<TermTranslator> termTranslator;
    Factory<ConnectionWizard> connectionWizard;
    Factory<LogSender> logSender;
    Factory<DeleteOldMessagesDialog> deleteOldMessagesDialog;
    Factory<MessageWithTurnOffDialog> messageWithTurnOffDialog;
    Factory<MonitorNamesDialog> monitorNamesDialog;
    Factory<OperatorNameDialog> operatorNameDialog;

    // The folder of the program (db.ini, monitornames.txt and the core application lie there).
    QString applicationFolder;

    // Not owned.
    const Clock* clock = nullptr;
    MessageBoxes* messageBoxes = nullptr;
    const ComputerInfo* computer = nullptr;
    InstanceGuard* instanceGuard = nullptr;
    UserInterface* userInterface = nullptr;
    ProcessLauncher* launcher = nullptr;
    WindowDirectory* windows = nullptr;
    FileOpener* fileOpener = nullptr;
    // Optional: no notifications without it.
    DesktopNotifier* notifier = nullptr;
};

// Runs a factory. Throws RuntimeError 429 naming the component when it yields nothing.
template <typename T>
std::unique_ptr<T> create(const Factory<T>& factory, const char* componentName) {
    std::unique_ptr<T> made = factory ? factory() : nullptr;
    if (!made) {
        throw RuntimeError(err::CannotCreateComponent,
                           QStringLiteral("Component cannot be created: %1")
                               .arg(QString::fromLatin1(componentName)));
    }
    return made;
}

// A service the program cannot do without. Throws RuntimeError 91 when it is not set.
template <typename T>
T& required(T* service) {
    if (service == nullptr) {
        throw RuntimeError::standard(err::ObjectNotSet);
    }
    return *service;
}

}  // namespace hvx
