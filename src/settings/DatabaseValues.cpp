#include "DatabaseValues.h"

#include "platform/Conversions.h"
#include "platform/RuntimeError.h"

#include <QDateTime>
#include <QRegularExpression>

namespace hvx {

QString NullToEmpty(const QVariant& value) {
    if (value.isNull()) {
        return {};
    }
    // An empty column value stays a non-null text, so a caller can still tell it from a null.
    QString text = value.toString();
    return text.isNull() ? QStringLiteral("") : text;
}

bool booleanFromField(const QVariant& value) {
    if (value.isNull()) {
        throw RuntimeError::standard(err::InvalidUseOfNull);
    }
    if (value.typeId() == QMetaType::Bool) {
        return value.toBool();
    }
    return toBoolean(value.toString());
}

DateValue dateFromField(const QVariant& value) {
    if (value.isNull()) {
        return DateValue::zero();
    }
    if (value.typeId() == QMetaType::QDateTime) {
        return DateValue::fromDateTime(value.toDateTime());
    }
    if (value.typeId() == QMetaType::QDate) {
        return DateValue::fromParts(value.toDate(), QTime(0, 0));
    }
    // Parsed as separate date and time fields: a naive time must not move across a
    // daylight-saving gap of the machine's zone.
    const QString text = value.toString().trimmed();
    static const QRegularExpression separator(QStringLiteral("[ T]"));
    const qsizetype split = text.indexOf(separator);
    const QDate date = QDate::fromString(split < 0 ? text : text.left(split), Qt::ISODate);
    const QTime time =
        split < 0 ? QTime(0, 0) : QTime::fromString(text.mid(split + 1), Qt::ISODateWithMs);
    if (date.isValid() && time.isValid()) {
        return DateValue::fromParts(date, time);
    }
    throw RuntimeError::standard(err::TypeMismatch);
}

}  // namespace hvx
