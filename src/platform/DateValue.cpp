#include "DateValue.h"

#include <QLocale>

#include <cmath>

namespace hvx {

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

QDate zeroDate() {
    return {1899, 12, 30};
}

std::int64_t floorDiv(std::int64_t value, std::int64_t divisor) {
    std::int64_t quotient = value / divisor;
    if (value % divisor != 0 && value < 0) {
        --quotient;
    }
    return quotient;
}

QString localeTimeWithSeconds(const QTime& time) {
    QString format = QLocale::system().timeFormat(QLocale::LongFormat);
    format.remove(QLatin1Char('t'));
    return QLocale::system().toString(time, format.trimmed());
}

}  // namespace

DateValue DateValue::fromParts(const QDate& date, const QTime& time) {
    const std::int64_t days = zeroDate().daysTo(date);
    const std::int64_t secondsOfDay = time.isValid() ? time.msecsSinceStartOfDay() / 1000 : 0;
    return fromSecondsSinceZero(days * kSecondsPerDay + secondsOfDay);
}

DateValue DateValue::fromDateTime(const QDateTime& dateTime) {
    return fromParts(dateTime.date(), dateTime.time());
}

DateValue DateValue::fromSerial(double days) {
    return fromSecondsSinceZero(static_cast<std::int64_t>(std::llround(days * kSecondsPerDay)));
}

double DateValue::serial() const {
    return static_cast<double>(seconds_) / kSecondsPerDay;
}

QDate DateValue::date() const {
    return zeroDate().addDays(floorDiv(seconds_, kSecondsPerDay));
}

QTime DateValue::time() const {
    const std::int64_t secondsOfDay =
        seconds_ - floorDiv(seconds_, kSecondsPerDay) * kSecondsPerDay;
    return QTime::fromMSecsSinceStartOfDay(static_cast<int>(secondsOfDay * 1000));
}

QDateTime DateValue::toDateTime() const {
    return {date(), time()};
}

int DateValue::minuteOfDay() const {
    const QTime t = time();
    return t.hour() * 60 + t.minute();
}

DateValue DateValue::addSeconds(std::int64_t seconds) const {
    return fromSecondsSinceZero(seconds_ + seconds);
}

std::int64_t secondsBetween(const DateValue& from, const DateValue& to) {
    return to.secondsSinceZero() - from.secondsSinceZero();
}

std::int64_t minutesBetween(const DateValue& from, const DateValue& to) {
    return floorDiv(to.secondsSinceZero(), 60) - floorDiv(from.secondsSinceZero(), 60);
}

std::int64_t hoursBetween(const DateValue& from, const DateValue& to) {
    return floorDiv(to.secondsSinceZero(), 3600) - floorDiv(from.secondsSinceZero(), 3600);
}

std::int64_t daysBetween(const DateValue& from, const DateValue& to) {
    return floorDiv(to.secondsSinceZero(), kSecondsPerDay) -
           floorDiv(from.secondsSinceZero(), kSecondsPerDay);
}

QString formatDate(const DateValue& value) {
    const QDate d = value.date();
    return QStringLiteral("%1-%2-%3")
        .arg(d.day(), 2, 10, QLatin1Char('0'))
        .arg(QLocale::system().monthName(d.month(), QLocale::ShortFormat))
        .arg(d.year(), 4, 10, QLatin1Char('0'));
}

QString formatDateTime(const DateValue& value) {
    return formatDate(value) + QLatin1Char(' ') + value.time().toString(QStringLiteral("HH:mm"));
}

QString formatGeneralDate(const DateValue& value) {
    const bool midnight = value.time() == QTime(0, 0);
    const bool zeroDay = value.date() == zeroDate();
    if (zeroDay && !midnight) {
        return localeTimeWithSeconds(value.time());
    }
    const QString date = QLocale::system().toString(value.date(), QLocale::ShortFormat);
    return midnight ? date : date + QLatin1Char(' ') + localeTimeWithSeconds(value.time());
}

}  // namespace hvx
