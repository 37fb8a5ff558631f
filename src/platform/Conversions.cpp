#include "Conversions.h"

#include "RuntimeError.h"

#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace hvx {

namespace {

QString withoutBlanks(const QString& text) {
    return text.trimmed();
}

}  // namespace

bool isNumeric(const QString& text) {
    static const QRegularExpression number(
        QStringLiteral(R"(^[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?$)"));
    return number.match(withoutBlanks(text)).hasMatch();
}

double toDouble(const QString& text) {
    if (!isNumeric(text)) {
        throw RuntimeError::standard(err::TypeMismatch);
    }
    const double value = withoutBlanks(text).toDouble();
    if (!std::isfinite(value)) {
        throw RuntimeError::standard(err::Overflow);
    }
    return value;
}

std::int32_t toWholeNumber(double value) {
    // rint follows the default rounding mode, round-half-to-even.
    const double rounded = std::rint(value);
    if (!std::isfinite(rounded) || rounded < std::numeric_limits<std::int32_t>::min() ||
        rounded > std::numeric_limits<std::int32_t>::max()) {
        throw RuntimeError::standard(err::Overflow);
    }
    return static_cast<std::int32_t>(rounded);
}

std::int32_t toWholeNumber(const QString& text) {
    return toWholeNumber(toDouble(text));
}

bool toBoolean(const QString& text) {
    const QString word = withoutBlanks(text);
    if (word.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0) {
        return true;
    }
    if (word.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0) {
        return false;
    }
    return toDouble(word) != 0.0;
}

QString booleanText(bool value) {
    return value ? QStringLiteral("1") : QStringLiteral("0");
}

QString trimSpaces(const QString& text) {
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && text.at(first) == QLatin1Char(' ')) {
        ++first;
    }
    while (last > first && text.at(last - 1) == QLatin1Char(' ')) {
        --last;
    }
    return text.mid(first, last - first);
}

}  // namespace hvx
