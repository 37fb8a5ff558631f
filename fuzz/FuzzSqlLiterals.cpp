// The SQL literal formatters. A text formatted for the file database, inserted into a real
// SQLite table and read back, is the same text; a date formatted and stored reads back as the
// same moment. The server form, which SQLite cannot run, is decoded by a strict reader of the
// only shapes it may take (N'…' with quotes doubled, NCHAR(0), CONCAT of 2 to 50 of these), so
// nothing in it can leave a literal.
#include "FuzzCheck.h"
#include "components/SqlLiteralFormatters.h"
#include "platform/RuntimeError.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>

using namespace hvx;
using namespace hvx::fuzz;

namespace {

const QString kConnection = QStringLiteral("fuzz");

QSqlDatabase database() {
    return QSqlDatabase::database(kConnection, false);
}

// Stores the literal through an INSERT and reads it back; nothing when SQLite refused it.
std::optional<QString> storedAndReadBack(const QString& literal) {
    QSqlQuery insert(database());
    if (!insert.exec(QStringLiteral("insert into T (V) values (") + literal + QLatin1Char(')'))) {
        return std::nullopt;
    }
    QSqlQuery select(database());
    if (!select.exec(QStringLiteral("select V from T")) || !select.next()) {
        return std::nullopt;
    }
    QString value = select.value(0).toString();
    const bool single = !select.next();
    QSqlQuery(database()).exec(QStringLiteral("delete from T"));
    if (!single) {
        return std::nullopt;
    }
    return value;
}

// A strict reader of the server form: the text it stands for, or nothing when the literal has
// any other shape. `depth` guards the CONCAT nesting.
class ServerLiteralReader {
  public:
    explicit ServerLiteralReader(const QString& literal) : s_(literal) {}

    std::optional<QString> readWhole() {
        std::optional<QString> value = read();
        if (!value || at_ != s_.size()) {
            return std::nullopt;
        }
        return value;
    }

  private:
    bool take(const QString& word) {
        if (!s_.mid(at_).startsWith(word)) {
            return false;
        }
        at_ += word.size();
        return true;
    }

    std::optional<QString> read() {
        if (take(QStringLiteral("NCHAR(0)"))) {
            return QString(QChar(0));
        }
        if (take(QStringLiteral("N'"))) {
            return quoted();
        }
        if (take(QStringLiteral("CONCAT("))) {
            return concatenation();
        }
        return std::nullopt;
    }

    std::optional<QString> quoted() {
        QString value;
        while (at_ < s_.size()) {
            const QChar c = s_.at(at_++);
            if (c == QLatin1Char('\'')) {
                if (at_ < s_.size() && s_.at(at_) == QLatin1Char('\'')) {
                    value.append(c);
                    ++at_;
                    continue;
                }
                // SQL Server reads backslash and a line break inside a literal as nothing.
                for (qsizetype i = 0; i + 1 < value.size(); ++i) {
                    if (value.at(i) == QLatin1Char('\\') &&
                        (value.at(i + 1) == QLatin1Char('\r') ||
                         value.at(i + 1) == QLatin1Char('\n'))) {
                        fail("a server literal holds a backslash before a line break", s_);
                    }
                }
                check(!value.contains(QChar(0)), "a server literal holds a NUL", s_);
                return value;
            }
            value.append(c);
        }
        return std::nullopt;
    }

    std::optional<QString> concatenation() {
        QString value;
        int arguments = 0;
        do {
            std::optional<QString> piece = read();
            if (!piece) {
                return std::nullopt;
            }
            value += *piece;
            ++arguments;
        } while (take(QStringLiteral(", ")));
        if (!take(QStringLiteral(")"))) {
            return std::nullopt;
        }
        check(arguments >= 2 && arguments <= 50, "CONCAT with fewer than 2 or more than 50 texts",
              s_);
        return value;
    }

    const QString& s_;
    qsizetype at_ = 0;
};

void checkText(const QString& text) {
    SqlLiteralStringFormatter formatter;
    formatter.SetDatabaseType(QStringLiteral("JET"));
    const QString jet = formatter.FormatText(text);
    const std::optional<QString> back = storedAndReadBack(jet);
    check(back.has_value(), "SQLite refused a text literal",
          jet + QStringLiteral("\n") + database().lastError().text());
    check(*back == text, "a text stored through its literal reads back different",
          text + QStringLiteral("\n") + jet + QStringLiteral("\n") + *back);

    formatter.SetDatabaseType(QStringLiteral("sqlserver"));
    const QString server = formatter.FormatText(text);
    const std::optional<QString> decoded = ServerLiteralReader(server).readWhole();
    check(decoded.has_value(), "a server literal of another shape", server);
    check(*decoded == text, "a server literal stands for another text",
          text + QStringLiteral("\n") + server);
    // PostgreSQL cuts the trailing blanks of a bare N'…' when it stores it.
    if (text.endsWith(QLatin1Char(' '))) {
        check(server.startsWith(QStringLiteral("CONCAT(")),
              "a text ending in a blank is a bare server literal", server);
    }
}

// Any moment of the years 1 to 9999 stored through its literal reads back the same; others
// are error 5.
void checkDate(std::int64_t raw) {
    constexpr std::int64_t kZeroToYear1 = -693593LL * 86400;  // 1 January 0001 from 30 Dec 1899
    constexpr std::int64_t kSpan = (3652059LL + 2) * 86400;
    const DateValue value = DateValue::fromSecondsSinceZero(kZeroToYear1 - 86400 + raw % kSpan);
    const int year = value.date().year();
    SqlLiteralValueFormatter formatter;
    for (const char* type : {"JET", "SQLSERVER"}) {
        formatter.SetDatabaseType(QLatin1String(type));
        QString literal;
        try {
            literal = formatter.FormatDate(value);
        } catch (const RuntimeError& error) {
            check(year < 1 || year > 9999, "a date of the years 1 to 9999 refused",
                  value.toDateTime().toString(Qt::ISODate));
            check(error.number() == err::InvalidArgument, "a date refused with the wrong error");
            return;
        }
        check(year >= 1 && year <= 9999, "a date outside the years 1 to 9999 formatted", literal);
        const std::optional<QString> back = storedAndReadBack(literal);
        check(back.has_value(), "SQLite refused a date literal", literal);
        const QString format = QLatin1String(type) == QLatin1String("JET")
                                   ? QStringLiteral("yyyy-MM-dd HH:mm:ss")
                                   : QStringLiteral("yyyy-MM-ddTHH:mm:ss");
        const QDateTime read = QDateTime::fromString(*back, format);
        check(read.isValid() && DateValue::fromDateTime(read) == value,
              "a date stored through its literal reads back as another moment", literal);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    static QCoreApplication app(*argc, *argv);
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), kConnection);
    db.setDatabaseName(QStringLiteral(":memory:"));
    if (!db.open() || !QSqlQuery(db).exec(QStringLiteral("create table T (V text)"))) {
        fail("cannot open an SQLite database in memory", db.lastError().text());
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size >= sizeof(std::int64_t)) {
        std::int64_t raw = 0;
        std::memcpy(&raw, data, sizeof raw);
        checkDate(raw < 0 ? -(raw + 1) : raw);
    }
    checkText(inputText(data, size));
    return 0;
}
