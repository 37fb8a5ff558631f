#pragma once

#include <QString>

class QObject;

namespace hvx {

class DatabaseManager;
class ErrorManager;

// The product components the start-up drives besides the database and the store. Each is
// created through its factory in the Environment; the members carry the product's names.

// Finds the user's working folder (where the log lies).
class LocalFolder {
  public:
    virtual ~LocalFolder() = default;
    virtual void SetRegistryPath(const QString& path) = 0;
    // Empty when no usable folder could be found or made.
    virtual QString GetLocalFolder() = 0;
};

class Splash {
  public:
    virtual ~Splash() = default;
    virtual void ShowSplash(long style) = 0;
    // Closing twice is harmless.
    virtual void CloseSplash() = 0;
};

// The product's words: terms read from the database, and the translation of "[[KEY]]"
// placeholders in a window's captions.
class TermTranslator {
  public:
    virtual ~TermTranslator() = default;
    // Not owned; must outlive the translator's use of it.
    virtual void SetDatabase(DatabaseManager* database) = 0;
    virtual void LoadLanguage(const QString& language, long options) = 0;
    // The key itself when there is no such term.
    virtual QString GetTerm(const QString& key, const QString& context) const = 0;
    // `window` is a widget; every caption, title, label, check box and menu item below it is
    // translated.
    virtual void TranslateForm(QObject* window, const QString& context) const = 0;
};

// Asks the operator for the database and writes db.ini into the application folder.
class ConnectionWizard {
  public:
    virtual ~ConnectionWizard() = default;
    virtual void SetErrorManager(ErrorManager* errorManager) = 0;
    virtual void ShowDialog() = 0;
    virtual bool Cancelled() const = 0;
};

// Gets the log to the product's support: how and where is the sender's own business.
class LogSender {
  public:
    virtual ~LogSender() = default;
    virtual void SetErrorManager(ErrorManager* errorManager) = 0;
    virtual void SetTermTranslator(const TermTranslator* translator) = 0;
    virtual void SetTrace(bool on) = 0;
    virtual bool SendLog() = 0;
};

}  // namespace hvx
