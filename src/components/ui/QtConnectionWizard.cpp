#include "QtConnectionWizard.h"

#include "components/DbIni.h"
#include "components/HelpDeskSchema.h"
#include "components/QtSqlDatabaseManager.h"
#include "platform/Clock.h"
#include "platform/RuntimeError.h"
#include "platform/qt/UnattendedSession.h"

#include <QCheckBox>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <QWizard>
#include <QWizardPage>

#include <optional>
#include <utility>

namespace hvx {

namespace {

enum PageId { KindPage, FilePage, ServerPage, TestPage };

QLineEdit* addField(QWizardPage* page, QFormLayout* form, const char* name, const QString& label,
                    const QString& initial = QString()) {
    auto* edit = new QLineEdit(initial, page);
    edit->setObjectName(QString::fromLatin1(name));
    form->addRow(label, edit);
    return edit;
}

class KindChoice final : public QWizardPage {
  public:
    explicit KindChoice(QWidget* parent) : QWizardPage(parent) {
        setTitle(QStringLiteral("Help-desk database"));
        setSubTitle(QStringLiteral("Where does the help-desk database lie?"));
        file = new QRadioButton(QStringLiteral("A database &file on this computer"), this);
        file->setObjectName(QStringLiteral("optFile"));
        file->setChecked(true);
        server = new QRadioButton(QStringLiteral("A database &server (through ODBC)"), this);
        server->setObjectName(QStringLiteral("optServer"));
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(file);
        layout->addWidget(server);
    }
    int nextId() const override { return file->isChecked() ? FilePage : ServerPage; }

    QRadioButton* file;
    QRadioButton* server;
};

class FileChoice final : public QWizardPage {
  public:
    explicit FileChoice(QWidget* parent) : QWizardPage(parent) {
        setTitle(QStringLiteral("Database file"));
        setSubTitle(QStringLiteral("Choose the help-desk database file, or name a new one."));
        path = new QLineEdit(this);
        path->setObjectName(QStringLiteral("txtDatabaseFile"));
        auto* browse = new QPushButton(QStringLiteral("&Browse..."), this);
        create =
            new QCheckBox(QStringLiteral("&Create a new help-desk database in this file"), this);
        create->setObjectName(QStringLiteral("chkCreate"));
        auto* row = new QHBoxLayout;
        row->addWidget(path, 1);
        row->addWidget(browse);
        auto* layout = new QVBoxLayout(this);
        layout->addLayout(row);
        layout->addWidget(create);
        connect(browse, &QPushButton::clicked, this, [this] {
            const QString chosen = QFileDialog::getSaveFileName(
                this, QStringLiteral("Help-desk database file"), path->text(),
                QStringLiteral("Database files (*.sqlite3 *.db);;All files (*)"), nullptr,
                QFileDialog::DontConfirmOverwrite);
            if (!chosen.isEmpty()) {
                path->setText(chosen);
            }
        });
        connect(path, &QLineEdit::textChanged, this, [this](const QString& text) {
            const bool exists = QFileInfo::exists(text);
            create->setEnabled(!exists);
            create->setChecked(!exists && !text.isEmpty());
            Q_EMIT completeChanged();
        });
    }
    bool isComplete() const override { return !path->text().trimmed().isEmpty(); }
    int nextId() const override { return TestPage; }

    QLineEdit* path;
    QCheckBox* create;
};

class ServerChoice final : public QWizardPage {
  public:
    explicit ServerChoice(QWidget* parent) : QWizardPage(parent) {
        setTitle(QStringLiteral("Database server"));
        setSubTitle(QStringLiteral("How is the database server reached?"));
        auto* form = new QFormLayout(this);
        driver = addField(this, form, "txtDriver", QStringLiteral("ODBC &driver:"),
                          QStringLiteral("PostgreSQL Unicode"));
        server = addField(this, form, "txtServer", QStringLiteral("&Server:"),
                          QStringLiteral("127.0.0.1"));
        port = addField(this, form, "txtPort", QStringLiteral("&Port:"));
        database = addField(this, form, "txtDatabase", QStringLiteral("D&atabase:"));
        user = addField(this, form, "txtUserId", QStringLiteral("&User:"));
        password = addField(this, form, "txtPassword", QStringLiteral("Pass&word:"));
        password->setEchoMode(QLineEdit::Password);
    }
    int nextId() const override { return TestPage; }

    QLineEdit* driver;
    QLineEdit* server;
    QLineEdit* port;
    QLineEdit* database;
    QLineEdit* user;
    QLineEdit* password;
};

// Tests the connection when shown; Finish is possible only once it succeeded.
class ConnectionTest final : public QWizardPage {
  public:
    ConnectionTest(QWidget* parent, std::function<QString(bool&)> test)
        : QWizardPage(parent), test_(std::move(test)) {
        setTitle(QStringLiteral("Connection test"));
        result = new QLabel(this);
        result->setObjectName(QStringLiteral("lblResult"));
        result->setWordWrap(true);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(result);
        setFinalPage(true);
    }
    void initializePage() override {
        ok_ = false;
        result->setText(test_(ok_));
        Q_EMIT completeChanged();
    }
    bool isComplete() const override { return ok_; }
    int nextId() const override { return -1; }

    QLabel* result;

  private:
    std::function<QString(bool&)> test_;
    bool ok_ = false;
};

// Tests the connection that `ini` describes, first creating its database file with the
// help-desk schema when `create` asks for it and the file does not exist yet. Answers the text
// that tells the operator the outcome; `ok` says whether the wizard may finish.
QString testConnection(const DbIni& ini, bool create, const QString& applicationFolder,
                       const Clock& clock, ErrorManager* errorManager, bool& ok) {
    ok = false;
    try {
        if (ini.isJet() && create && !QFileInfo::exists(ini.location)) {
            QFile created(ini.location);
            if (!created.open(QIODevice::WriteOnly)) {
                return QStringLiteral("The file %1 cannot be created: %2")
                    .arg(ini.location, created.errorString());
            }
        }
        QtSqlDatabaseManager database;
        database.SetErrorManager(errorManager);
        long answer = database.ConnectWith(ini, applicationFolder);
        if (answer == 1 && ini.isJet() && create) {
            HelpDeskSchema(database, clock.now()).Create();
            answer = database.ConnectWith(ini, applicationFolder);
        }
        if (answer == 0) {
            return QStringLiteral(
                "The connection failed. Go back and check the details; the log tells more.");
        }
        if (answer == 1) {
            return QStringLiteral(
                "The connection works, but the database has no help-desk tables. Run the main "
                "Help Desk application (or hvx-dbsetup) first, or go back and create a new "
                "database file.");
        }
        ok = true;
        return QStringLiteral("The connection works. Finish writes db.ini into %1.")
            .arg(applicationFolder);
    } catch (const RuntimeError& error) {
        return error.description();
    }
}

}  // namespace

QtConnectionWizard::QtConnectionWizard(QString applicationFolder, const Clock& clock)
    : applicationFolder_(std::move(applicationFolder)), clock_(clock) {}

void QtConnectionWizard::ShowDialog() {
    QWizard wizard;
    wizard.setObjectName(QStringLiteral("ConnectionWizard"));
    wizard.setWindowTitle(QStringLiteral("Database Connection Wizard"));
    auto* kind = new KindChoice(&wizard);
    auto* file = new FileChoice(&wizard);
    auto* server = new ServerChoice(&wizard);

    DbIni chosen;
    const auto settingsOfPages = [&] {
        DbIni ini;
        if (kind->file->isChecked()) {
            ini.type = QStringLiteral("JET");
            ini.location = QFileInfo(file->path->text().trimmed()).absoluteFilePath();
        } else {
            ini.type = QStringLiteral("SQLSERVER");
            ini.driver = server->driver->text().trimmed();
            ini.server = server->server->text().trimmed();
            ini.port = server->port->text().trimmed();
            ini.database = server->database->text().trimmed();
            ini.userId = server->user->text();
            ini.password = server->password->text();
        }
        return ini;
    };
    auto* test = new ConnectionTest(&wizard, [&](bool& ok) -> QString {
        chosen = settingsOfPages();
        return testConnection(chosen, file->create->isChecked(), applicationFolder_, clock_,
                              errorManager_, ok);
    });
    wizard.setPage(KindPage, kind);
    wizard.setPage(FilePage, file);
    wizard.setPage(ServerPage, server);
    wizard.setPage(TestPage, test);

    cancelled_ = true;
    if (wizard.exec() != QDialog::Accepted) {
        return;
    }
    try {
        chosen.save(DbIni::pathIn(applicationFolder_));
        cancelled_ = false;
    } catch (const RuntimeError&) {
        cancelled_ = true;
    }
}

UnattendedConnectionWizard::UnattendedConnectionWizard(UnattendedSession& session,
                                                       QString applicationFolder,
                                                       const Clock& clock)
    : session_(session), applicationFolder_(std::move(applicationFolder)), clock_(clock) {}

void UnattendedConnectionWizard::ShowDialog() {
    const QString kind = QStringLiteral("ConnectionWizard");
    session_.record(
        {{QStringLiteral("kind"), kind},
         {QStringLiteral("title"), QStringLiteral("Database Connection Wizard")},
         {QStringLiteral("choices"), QStringLiteral("jet:FILE,odbc:CONNECTION,cancel")}});
    cancelled_ = true;
    for (;;) {
        const std::optional<QString> token = session_.takeAnswer();
        const bool jet = token && token->startsWith(QLatin1String("jet:"));
        const bool odbc = token && token->startsWith(QLatin1String("odbc:"));
        if (!jet && !odbc) {
            QJsonObject line{{QStringLiteral("kind"), kind},
                             {QStringLiteral("answer"), QStringLiteral("cancel")}};
            if (token && *token != QLatin1String("cancel")) {
                line.insert(QStringLiteral("refused"), *token);
            }
            session_.record(line);
            return;
        }
        QJsonObject line{{QStringLiteral("kind"), kind},
                         {QStringLiteral("answer"), token->section(QLatin1Char(':'), 0, 0)}};
        DbIni ini;
        QString result;
        bool ok = false;
        try {
            if (jet) {
                ini.type = QStringLiteral("JET");
                ini.location = QFileInfo(token->mid(4).trimmed()).absoluteFilePath();
                line.insert(QStringLiteral("location"), ini.location);
            } else {
                ini = DbIni::fromConnectionString(token->mid(5));
                ini.type = QStringLiteral("SQLSERVER");
                // The password stays out of the record.
                line.insert(QStringLiteral("server"), ini.server);
                line.insert(QStringLiteral("database"), ini.database);
            }
            // Like the wizard, which offers to create a database file that does not exist.
            result = testConnection(ini, jet, applicationFolder_, clock_, errorManager_, ok);
            if (ok) {
                ini.save(DbIni::pathIn(applicationFolder_));
                cancelled_ = false;
            }
        } catch (const RuntimeError& error) {
            result = error.description();
        }
        line.insert(QStringLiteral("result"), result);
        line.insert(QStringLiteral("completed"), !cancelled_);
        session_.record(line);
        if (!cancelled_) {
            return;
        }
    }
}

}  // namespace hvx
