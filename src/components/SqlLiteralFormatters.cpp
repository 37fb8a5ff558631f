#include "SqlLiteralFormatters.h"

#include "platform/RuntimeError.h"

#include <QStringList>

namespace hvx {

namespace {

QString quoted(const QString& prefix, QString text) {
    text.replace(QLatin1Char('\''), QLatin1String("''"));
    return prefix + QLatin1Char('\'') + text + QLatin1Char('\'');
}

// SQLite refuses expressions nested more than 1000 deep, and a chain of || nests one level
// per piece: join them as a balanced tree instead.
QString jetJoin(const QStringList& pieces, qsizetype from, qsizetype to) {
    if (to - from == 1) {
        return pieces.at(from);
    }
    const qsizetype middle = from + (to - from) / 2;
    return QLatin1Char('(') + jetJoin(pieces, from, middle) + QStringLiteral(" || ") +
           jetJoin(pieces, middle, to) + QLatin1Char(')');
}

// PostgreSQL takes at most 100 arguments to a function, SQL Server 254 to CONCAT, and SQL
// Server wants at least two.
QString serverJoin(QStringList pieces) {
    constexpr qsizetype kMostArguments = 50;
    while (pieces.size() > kMostArguments) {
        QStringList groups;
        for (qsizetype i = 0; i < pieces.size(); i += kMostArguments) {
            groups.append(serverJoin(pieces.mid(i, kMostArguments)));
        }
        pieces = groups;
    }
    if (pieces.size() == 1) {
        pieces.append(QStringLiteral("N''"));
    }
    return QStringLiteral("CONCAT(") + pieces.join(QLatin1String(", ")) + QLatin1Char(')');
}

QString jetText(const QString& text) {
    QStringList pieces;
    QString run;
    bool hasNul = false;
    for (const QChar c : text) {
        if (c.unicode() == 0) {
            if (!run.isEmpty()) {
                pieces.append(quoted(QString(), run));
                run.clear();
            }
            pieces.append(QStringLiteral("char(0)"));
            hasNul = true;
        } else {
            run.append(c);
        }
    }
    if (!hasNul) {
        return quoted(QString(), text);
    }
    if (!run.isEmpty()) {
        pieces.append(quoted(QString(), run));
    }
    return pieces.size() == 1 ? QLatin1Char('(') + pieces.first() + QLatin1Char(')')
                              : jetJoin(pieces, 0, pieces.size());
}

QString serverText(const QString& text) {
    static const QString national = QStringLiteral("N");
    QStringList pieces;
    QString run;
    const auto flush = [&] {
        if (!run.isEmpty()) {
            pieces.append(quoted(national, run));
            run.clear();
        }
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.unicode() == 0) {
            flush();
            pieces.append(QStringLiteral("NCHAR(0)"));
            continue;
        }
        run.append(c);
        const bool breakFollows = i + 1 < text.size() && (text.at(i + 1) == QLatin1Char('\r') ||
                                                          text.at(i + 1) == QLatin1Char('\n'));
        if (c == QLatin1Char('\\') && breakFollows) {
            flush();
        }
    }
    flush();
    if (pieces.isEmpty()) {
        return QStringLiteral("N''");
    }
    if (pieces.size() == 1 && !text.endsWith(QLatin1Char(' '))) {
        return pieces.first();
    }
    return serverJoin(pieces);
}

QString twoDigits(int value) {
    return QStringLiteral("%1").arg(value, 2, 10, QLatin1Char('0'));
}

}  // namespace

SqlLiteralDialect sqlLiteralDialect(const QString& databaseType) {
    if (databaseType.trimmed().compare(QLatin1String("SQLSERVER"), Qt::CaseInsensitive) == 0) {
        return SqlLiteralDialect::SqlServer;
    }
    return SqlLiteralDialect::Jet;
}

void SqlLiteralStringFormatter::SetDatabaseType(const QString& type) {
    dialect_ = sqlLiteralDialect(type);
}

QString SqlLiteralStringFormatter::FormatText(const QString& text) const {
    return dialect_ == SqlLiteralDialect::SqlServer ? serverText(text) : jetText(text);
}

void SqlLiteralValueFormatter::SetDatabaseType(const QString& type) {
    dialect_ = sqlLiteralDialect(type);
}

QString SqlLiteralValueFormatter::FormatDate(const DateValue& value) const {
    const QDate date = value.date();
    const QTime time = value.time();
    if (date.year() < 1 || date.year() > 9999) {
        throw RuntimeError(err::InvalidArgument,
                           QStringLiteral("The date %1-%2-%3 cannot be written to the database")
                               .arg(date.year())
                               .arg(date.month())
                               .arg(date.day()));
    }
    const QChar separator =
        dialect_ == SqlLiteralDialect::SqlServer ? QLatin1Char('T') : QLatin1Char(' ');
    return QStringLiteral("'%1-%2-%3%4%5:%6:%7'")
        .arg(date.year(), 4, 10, QLatin1Char('0'))
        .arg(twoDigits(date.month()), twoDigits(date.day()))
        .arg(separator)
        .arg(twoDigits(time.hour()), twoDigits(time.minute()), twoDigits(time.second()));
}

QString SqlLiteralValueFormatter::FormatBoolean(bool value) const {
    return value ? QStringLiteral("1") : QStringLiteral("0");
}

}  // namespace hvx
