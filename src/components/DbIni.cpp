#include "DbIni.h"

#include "platform/InputFile.h"
#include "platform/RuntimeError.h"

#include <QDir>
#include <QSaveFile>
#include <QStringList>

#include <array>
#include <utility>

namespace hvx {

namespace {

const QString kSection = QStringLiteral("Database");

bool same(const QString& a, const char* b) {
    return a.compare(QLatin1String(b), Qt::CaseInsensitive) == 0;
}

// The fields in the order they are written, with their db.ini keys.
std::array<std::pair<const char*, QString DbIni::*>, 9> iniFields() {
    return {{{"Type", &DbIni::type},
             {"Location", &DbIni::location},
             {"Driver", &DbIni::driver},
             {"DSN", &DbIni::dsn},
             {"Server", &DbIni::server},
             {"Port", &DbIni::port},
             {"Database", &DbIni::database},
             {"UserId", &DbIni::userId},
             {"Password", &DbIni::password}}};
}

QString unquoted(const QString& value) {
    if (value.size() >= 2 && value.startsWith(QLatin1Char('"')) &&
        value.endsWith(QLatin1Char('"'))) {
        QString inner = value.mid(1, value.size() - 2);
        inner.replace(QLatin1String("\"\""), QLatin1String("\""));
        return inner;
    }
    return value;
}

QString iniValue(const QString& value) {
    if (value.contains(QLatin1Char('\r')) || value.contains(QLatin1Char('\n'))) {
        throw RuntimeError(err::InvalidArgument,
                           QStringLiteral("A db.ini value cannot hold a line break"));
    }
    const bool needsQuotes =
        !value.isEmpty() &&
        (value.front().isSpace() || value.back().isSpace() || value.startsWith(QLatin1Char('"')));
    if (!needsQuotes) {
        return value;
    }
    QString inner = value;
    inner.replace(QLatin1String("\""), QLatin1String("\"\""));
    return QLatin1Char('"') + inner + QLatin1Char('"');
}

QString odbcValue(const QString& value, bool alwaysBraced) {
    const bool needsBraces =
        alwaysBraced || value.contains(QLatin1Char(';')) || value.contains(QLatin1Char('{')) ||
        value.contains(QLatin1Char('}')) || value.contains(QLatin1Char('=')) ||
        (!value.isEmpty() && (value.front().isSpace() || value.back().isSpace()));
    if (!needsBraces) {
        return value;
    }
    QString inner = value;
    inner.replace(QLatin1String("}"), QLatin1String("}}"));
    return QLatin1Char('{') + inner + QLatin1Char('}');
}

}  // namespace

QString DbIni::pathIn(const QString& folder) {
    QString base = folder;
    if (base.size() > 1 && (base.endsWith(QLatin1Char('/')) || base.endsWith(QLatin1Char('\\')))) {
        base.chop(1);
    }
    return base + QLatin1Char('/') + fileName();
}

DbIni DbIni::parse(const QString& text) {
    DbIni ini;
    bool inSection = false;
    const QStringList lines = QString(text)
                                  .replace(QLatin1String("\r\n"), QLatin1String("\n"))
                                  .replace(QLatin1Char('\r'), QLatin1Char('\n'))
                                  .split(QLatin1Char('\n'));
    for (const QString& raw : lines) {
        const QString line = raw.trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char(';')) ||
            line.startsWith(QLatin1Char('#'))) {
            continue;
        }
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            inSection =
                line.mid(1, line.size() - 2).trimmed().compare(kSection, Qt::CaseInsensitive) == 0;
            continue;
        }
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (!inSection || equals < 0) {
            continue;
        }
        const QString key = line.left(equals).trimmed();
        const QString value = unquoted(line.mid(equals + 1).trimmed());
        for (const auto& [name, member] : iniFields()) {
            if (same(key, name)) {
                ini.*member = value;
            }
        }
    }
    return ini;
}

QString DbIni::toText() const {
    QString text = QLatin1Char('[') + kSection + QStringLiteral("]\n");
    for (const auto& [name, member] : iniFields()) {
        const QString& value = this->*member;
        const bool always = member == &DbIni::type;
        if (!value.isEmpty() || always) {
            text +=
                QLatin1String(name) + QStringLiteral(" = ") + iniValue(value) + QLatin1Char('\n');
        }
    }
    return text;
}

DbIni DbIni::load(const QString& path) {
    QByteArray content;
    try {
        content = readInputFile(path);
    } catch (const RuntimeError& error) {
        if (error.number() == err::FileNotFound) {
            throw RuntimeError(err::FileNotFound, QStringLiteral("File not found: ") + path);
        }
        throw RuntimeError(err::PathFileAccessError,
                           QStringLiteral("Cannot read %1: %2").arg(path, error.description()));
    }
    return parse(QString::fromUtf8(content));
}

void DbIni::save(const QString& path) const {
    const QByteArray bytes = toText().toUtf8();
    QSaveFile file(path);
    const bool written = file.open(QIODevice::WriteOnly) &&
                         file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) &&
                         file.write(bytes) == bytes.size() && file.commit();
    if (!written) {
        throw RuntimeError(err::PathFileAccessError,
                           QStringLiteral("Cannot write %1: %2").arg(path, file.errorString()));
    }
}

bool DbIni::isJet() const {
    return type.trimmed().compare(QLatin1String("JET"), Qt::CaseInsensitive) == 0;
}

bool DbIni::isServer() const {
    return type.trimmed().compare(QLatin1String("SQLSERVER"), Qt::CaseInsensitive) == 0;
}

QString DbIni::canonicalType() const {
    if (isJet()) {
        return QStringLiteral("JET");
    }
    if (isServer()) {
        return QStringLiteral("SQLSERVER");
    }
    return type;
}

QString DbIni::databaseFile(const QString& iniFolder) const {
    if (location.isEmpty()) {
        return {};
    }
    return QDir::cleanPath(QDir(iniFolder).absoluteFilePath(location));
}

QString DbIni::odbcConnectionString() const {
    QStringList parts;
    if (!dsn.isEmpty()) {
        parts.append(QStringLiteral("DSN=") + odbcValue(dsn, false));
    }
    if (!driver.isEmpty()) {
        parts.append(QStringLiteral("Driver=") + odbcValue(driver, true));
    }
    if (!server.isEmpty()) {
        parts.append(QStringLiteral("Server=") + odbcValue(server, false));
    }
    if (!port.isEmpty()) {
        parts.append(QStringLiteral("Port=") + odbcValue(port, false));
    }
    if (!database.isEmpty()) {
        parts.append(QStringLiteral("Database=") + odbcValue(database, false));
    }
    if (!userId.isEmpty()) {
        parts.append(QStringLiteral("Uid=") + odbcValue(userId, false));
    }
    if (!password.isEmpty()) {
        parts.append(QStringLiteral("Pwd=") + odbcValue(password, true));
    }
    return parts.join(QLatin1Char(';'));
}

DbIni DbIni::fromConnectionString(const QString& text) {
    DbIni ini;
    ini.type = QStringLiteral("SQLSERVER");
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n) {
        const qsizetype equals = text.indexOf(QLatin1Char('='), i);
        if (equals < 0) {
            if (!text.mid(i).trimmed().isEmpty()) {
                throw RuntimeError(
                    err::InvalidArgument,
                    QStringLiteral("Expected KEY=VALUE in the connection text at: ") + text.mid(i));
            }
            break;
        }
        const QString key = text.mid(i, equals - i).trimmed();
        i = equals + 1;
        while (i < n && text.at(i) == QLatin1Char(' ')) {
            ++i;
        }
        QString value;
        if (i < n && text.at(i) == QLatin1Char('{')) {
            ++i;
            bool closed = false;
            while (i < n) {
                if (text.at(i) == QLatin1Char('}')) {
                    if (i + 1 < n && text.at(i + 1) == QLatin1Char('}')) {
                        value.append(QLatin1Char('}'));
                        i += 2;
                        continue;
                    }
                    closed = true;
                    ++i;
                    break;
                }
                value.append(text.at(i++));
            }
            if (!closed) {
                throw RuntimeError(
                    err::InvalidArgument,
                    QStringLiteral("The value of %1 opens a brace that is not closed").arg(key));
            }
            while (i < n && text.at(i) != QLatin1Char(';')) {
                ++i;
            }
        } else {
            const qsizetype end = text.indexOf(QLatin1Char(';'), i);
            value = text.mid(i, end < 0 ? n - i : end - i).trimmed();
            i = end < 0 ? n : end;
        }
        ++i;  // the ';'
        if (same(key, "Driver")) {
            ini.driver = value;
        } else if (same(key, "DSN")) {
            ini.dsn = value;
        } else if (same(key, "Server")) {
            ini.server = value;
        } else if (same(key, "Port")) {
            ini.port = value;
        } else if (same(key, "Database")) {
            ini.database = value;
        } else if (same(key, "UserId") || same(key, "Uid") || same(key, "User Id")) {
            ini.userId = value;
        } else if (same(key, "Password") || same(key, "Pwd")) {
            ini.password = value;
        } else {
            throw RuntimeError(err::InvalidArgument,
                               QStringLiteral("Unknown key in the connection text: ") + key);
        }
    }
    return ini;
}

}  // namespace hvx
