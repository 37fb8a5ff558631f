// Text-to-number and Boolean conversions: whatever the text, the answer is a value or error
// 13 or 6, and the value agrees with the C library's reading of the same digits.
#include "FuzzCheck.h"
#include "platform/Conversions.h"
#include "platform/RuntimeError.h"

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>

using namespace hvx;
using namespace hvx::fuzz;

namespace {

const QString& words(bool value) {
    static const QString yes = QStringLiteral("true");
    static const QString no = QStringLiteral("false");
    return value ? yes : no;
}

// A number the program accepts is plain ASCII that strtod reads whole, to the same value.
void checkAgainstStrtod(const QString& text, double value) {
    const QString trimmed = text.trimmed();
    for (const QChar c : trimmed) {
        check(c.unicode() < 0x80, "a numeric text holds a character outside ASCII", text);
    }
    const QByteArray ascii = trimmed.toLatin1();
    char* end = nullptr;
    const double expected = std::strtod(ascii.constData(), &end);
    check(end == ascii.constData() + ascii.size(), "strtod does not read the whole number", text);
    check(expected == value, "the value differs from strtod's",
          text + QStringLiteral(" -> ") + QString::number(value, 'g', 17));
}

std::optional<double> checkDouble(const QString& text) {
    const bool numeric = isNumeric(text);
    try {
        const double value = toDouble(text);
        check(numeric, "toDouble accepted a text that isNumeric refuses", text);
        check(std::isfinite(value), "toDouble gave a value that is not finite", text);
        checkAgainstStrtod(text, value);
        return value;
    } catch (const RuntimeError& error) {
        check(error.number() == (numeric ? err::Overflow : err::TypeMismatch),
              "toDouble failed with the wrong error", text);
    }
    return std::nullopt;
}

void checkWholeNumber(double value, const QString& detail) {
    try {
        const std::int32_t whole = toWholeNumber(value);
        const double distance = std::fabs(static_cast<double>(whole) - value);
        check(distance <= 0.5, "a whole number more than a half away", detail);
        if (distance == 0.5) {
            check(whole % 2 == 0, "a half was not rounded to the even neighbour", detail);
        }
    } catch (const RuntimeError& error) {
        check(error.number() == err::Overflow, "toWholeNumber failed with the wrong error", detail);
        check(std::fabs(value) > 2147483647.0, "overflow within the 32-bit range", detail);
    }
}

void checkBoolean(const QString& text, std::optional<double> value) {
    const QString word = text.trimmed();
    const bool isTrue = word.compare(words(true), Qt::CaseInsensitive) == 0;
    const bool isFalse = word.compare(words(false), Qt::CaseInsensitive) == 0;
    try {
        const bool result = toBoolean(text);
        if (isTrue || isFalse) {
            check(result == isTrue, "True or False read as the other", text);
        } else {
            check(value.has_value(), "toBoolean accepted a text that is no number", text);
            check(result == (*value != 0.0), "a number's Boolean is not 'not zero'", text);
        }
        check(toBoolean(booleanText(result)) == result, "booleanText does not read back", text);
    } catch (const RuntimeError& error) {
        check(!isTrue && !isFalse, "True or False refused", text);
        check(!value.has_value(), "toBoolean refused a number", text);
        check(error.number() == err::TypeMismatch || error.number() == err::Overflow,
              "toBoolean failed with the wrong error", text);
    }
}

// The first eight bytes as a double: written the way Qt writes numbers, it reads back exactly.
void checkDoubleRoundTrip(const unsigned char* data, std::size_t size) {
    double value = 0;
    if (size < sizeof value) {
        return;
    }
    std::memcpy(&value, data, sizeof value);
    if (!std::isfinite(value)) {
        return;
    }
    const QString written = QStringLiteral(" %1 ").arg(value, 0, 'g', 17);
    check(isNumeric(written), "a written double is not numeric", written);
    check(toDouble(written) == value, "a written double does not read back", written);
    checkWholeNumber(value, written);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // strtod reads a decimal point in the C locale only.
    std::setlocale(LC_ALL, "C");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const QString text = inputText(data, size);
    const std::optional<double> value = checkDouble(text);
    try {
        const std::int32_t whole = toWholeNumber(text);
        check(value.has_value(), "toWholeNumber accepted a text that toDouble refuses", text);
        check(whole == toWholeNumber(*value), "text and value round differently", text);
    } catch (const RuntimeError& error) {
        check(!value.has_value() || error.number() == err::Overflow,
              "toWholeNumber refused a number it can hold", text);
    }
    if (value) {
        checkWholeNumber(*value, text);
    }
    checkBoolean(text, value);
    checkDoubleRoundTrip(data, size);
    return 0;
}
