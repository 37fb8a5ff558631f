#pragma once

#include <QString>

namespace hvx {

// The contents of db.ini: INI text with one section [Database].
//
//   [Database]
//   Type = JET                      ; or SQLSERVER
//   Location = helpdesk.sqlite3     ; JET: the file, relative to the db.ini folder or absolute
//   Driver = PostgreSQL Unicode     ; SQLSERVER: an ODBC driver, or DSN = a data source name
//   Server = 127.0.0.1
//   Port = 5432
//   Database = helpdesk
//   UserId = helpdesk
//   Password = secret
//
// Keys and the section name compare without regard to case; blanks around keys and values
// do not count. A value that must keep its blanks or begins with a double quote is written
// in double quotes, with a double quote inside doubled. Lines starting with ; or # are
// comments. Other sections and unknown keys are ignored.
struct DbIni {
    QString type;
    QString location;
    QString driver;
    QString dsn;
    QString server;
    QString port;
    QString database;
    QString userId;
    QString password;

    static QString fileName() { return QStringLiteral("db.ini"); }
    // folder + "/db.ini"; one trailing separator of the folder (/ or \) is dropped.
    static QString pathIn(const QString& folder);

    static DbIni parse(const QString& text);
    // Throws RuntimeError 5 for a value holding a line break: the format cannot carry it.
    QString toText() const;

    // Throws RuntimeError 53 when the file does not exist, 75 when it cannot be read or is
    // not a regular file of at most 1 MiB.
    static DbIni load(const QString& path);
    // Replaces the file in one step, readable by its owner only (it may hold the password).
    // Throws RuntimeError 75 when it cannot be written.
    void save(const QString& path) const;

    bool isJet() const;
    bool isServer() const;
    // "JET" or "SQLSERVER" when the type is one of them in any case, else the type as written.
    QString canonicalType() const;
    // The JET file as an absolute path: Location taken relative to the db.ini folder.
    QString databaseFile(const QString& iniFolder) const;

    // The ODBC connection string for SQLSERVER. Values that need it are put in braces with
    // a closing brace doubled; the password always is, so that no character of it can end
    // the attribute.
    QString odbcConnectionString() const;
    // The reverse, for tools: "Driver=…;Server=…;Port=…;Database=…;UserId=…;Password=…"
    // (also DSN, Uid, Pwd; braces as above). Throws RuntimeError 5 for an unknown key or a
    // brace that is not closed.
    static DbIni fromConnectionString(const QString& text);
};

}  // namespace hvx
