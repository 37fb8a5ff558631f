#pragma once

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <cstdlib>

namespace hvx::fuzz {

// A property that failed: say which, with the texts involved, and abort so that libFuzzer
// keeps the input that did it.
[[noreturn]] inline void fail(const char* property, const QString& detail = {}) {
    std::fprintf(stderr, "property failed: %s\n%s\n", property, detail.toUtf8().constData());
    std::abort();
}

inline void check(bool holds, const char* property, const QString& detail = {}) {
    if (!holds) {
        fail(property, detail);
    }
}

// The input as text. Invalid UTF-8 becomes U+FFFD, as in every file the program reads.
inline QString inputText(const unsigned char* data, std::size_t size) {
    return QString::fromUtf8(
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
}

}  // namespace hvx::fuzz
