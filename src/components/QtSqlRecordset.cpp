#include "QtSqlRecordset.h"

#include "PasswordConcealment.h"
#include "platform/RuntimeError.h"

#include <QDateTime>
#include <QSqlRecord>

#include <utility>

namespace hvx {

long sqlErrorNumber(const QSqlError& error) {
    // ODBC may list several native codes separated by ';': the first is the one that failed.
    const QString first = error.nativeErrorCode().section(QLatin1Char(';'), 0, 0).trimmed();
    bool ok = false;
    const long number = first.toLong(&ok);
    return ok ? number : 0;
}

QString sqlErrorDescription(const QSqlError& error) {
    QString database = error.databaseText().trimmed();
    QString driver = error.driverText().trimmed();
    if (database.isEmpty()) {
        return driver;
    }
    if (driver.isEmpty()) {
        return database;
    }
    return database + QStringLiteral(" (") + driver + QLatin1Char(')');
}

namespace {

QVariant naive(QVariant value) {
    if (value.metaType().id() == QMetaType::QDateTime && !value.isNull()) {
        const QDateTime stamp = value.toDateTime();
        return QDateTime(stamp.date(), stamp.time(), Qt::UTC);
    }
    return value;
}

RuntimeError noCurrentRow() {
    return {recordset_err::NoCurrentRow,
            QStringLiteral("Either BOF or EOF is True, or the current record has been deleted. "
                           "Requested operation requires a current record.")};
}

RuntimeError closedRecordset() {
    return {recordset_err::Closed,
            QStringLiteral("Operation is not allowed when the object is closed.")};
}

}  // namespace

QtSqlRecordset::QtSqlRecordset(QSqlQuery query, std::shared_ptr<OpenRecordsets> registry)
    : query_(std::move(query)), registry_(std::move(registry)) {
    const QSqlRecord record = query_.record();
    for (int i = 0; i < record.count(); ++i) {
        names_.append(record.fieldName(i));
    }
    registry_->live.insert(this);
    try {
        fetch();
    } catch (...) {
        release();
        throw;
    }
    empty_ = atEnd_;
}

QtSqlRecordset::~QtSqlRecordset() {
    release();
}

bool QtSqlRecordset::AtEnd() const {
    return atEnd_;
}

bool QtSqlRecordset::AtStart() const {
    // Forward-only: the position is before the first row only when there is no row at all.
    return empty_;
}

QVariant QtSqlRecordset::Field(const QString& name) const {
    for (int i = 0; i < names_.size(); ++i) {
        if (names_.at(i).compare(name, Qt::CaseInsensitive) == 0) {
            return Field(i);
        }
    }
    if (closed_) {
        throw closedRecordset();
    }
    throw RuntimeError(err::SubscriptOutOfRange,
                       QStringLiteral("Item cannot be found in the collection corresponding to the "
                                      "requested name or ordinal: ") +
                           name);
}

QVariant QtSqlRecordset::Field(int position) const {
    if (closed_) {
        throw closedRecordset();
    }
    if (position < 0 || position >= names_.size()) {
        throw RuntimeError::standard(err::SubscriptOutOfRange);
    }
    if (atEnd_) {
        throw noCurrentRow();
    }
    return row_.at(position);
}

void QtSqlRecordset::MoveNext() {
    if (closed_) {
        throw closedRecordset();
    }
    if (atEnd_) {
        throw noCurrentRow();
    }
    fetch();
}

void QtSqlRecordset::Close() {
    release();
}

void QtSqlRecordset::fetch() {
    row_.clear();
    if (query_.next()) {
        atEnd_ = false;
        row_.reserve(names_.size());
        for (int i = 0; i < names_.size(); ++i) {
            row_.append(naive(query_.value(i)));
        }
        return;
    }
    atEnd_ = true;
    const QSqlError error = query_.lastError();
    if (error.isValid()) {
        throw RuntimeError(sqlErrorNumber(error),
                           concealPassword(sqlErrorDescription(error),
                                           registry_ ? registry_->password : QString()));
    }
}

void QtSqlRecordset::release() {
    if (closed_) {
        return;
    }
    closed_ = true;
    atEnd_ = true;
    row_.clear();
    query_ = QSqlQuery();
    if (registry_) {
        registry_->live.erase(this);
    }
}

}  // namespace hvx
