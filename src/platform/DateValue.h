#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>
#include <QTime>

#include <compare>
#include <cstdint>

namespace hvx {

// The program's date type: a naive local date and time with whole seconds, counted from the
// zero date, 30 December 1899 00:00:00. A null date read from a database is the zero date.
class DateValue {
  public:
    constexpr DateValue() = default;

    static DateValue zero() { return {}; }
    static DateValue fromParts(const QDate& date, const QTime& time);
    // Takes the date and time fields as they are, whatever the time zone of the value.
    static DateValue fromDateTime(const QDateTime& dateTime);
    // Days since the zero date with the time of day as the fraction, rounded to the second.
    static DateValue fromSerial(double days);
    static constexpr DateValue fromSecondsSinceZero(std::int64_t seconds) {
        DateValue value;
        value.seconds_ = seconds;
        return value;
    }

    std::int64_t secondsSinceZero() const { return seconds_; }
    double serial() const;
    bool isZero() const { return seconds_ == 0; }

    QDate date() const;
    QTime time() const;
    QDateTime toDateTime() const;
    int minuteOfDay() const;

    DateValue addSeconds(std::int64_t seconds) const;

    // NOLINTNEXTLINE(modernize-use-nullptr): a false alarm on the defaulted comparison
    auto operator<=>(const DateValue&) const = default;

  private:
    std::int64_t seconds_ = 0;
};

// Differences count the unit boundaries passed from `from` to `to`, like a calendar
// difference: 10:00:59 to 10:01:00 is one minute, 10:00:00 to 10:00:59 is none.
std::int64_t secondsBetween(const DateValue& from, const DateValue& to);
std::int64_t minutesBetween(const DateValue& from, const DateValue& to);
std::int64_t hoursBetween(const DateValue& from, const DateValue& to);
std::int64_t daysBetween(const DateValue& from, const DateValue& to);

// "dd-mmm-yyyy" with the locale's short month name, for example "05-Mar-2026".
QString formatDate(const DateValue& value);
// "dd-mmm-yyyy hh:nn", for example "05-Mar-2026 14:07".
QString formatDateTime(const DateValue& value);
// The locale's general date: the date alone at midnight, the time alone on the zero date,
// otherwise the short date and the time with seconds.
QString formatGeneralDate(const DateValue& value);

}  // namespace hvx
