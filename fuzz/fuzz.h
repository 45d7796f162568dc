#pragma once

// Shared by the libFuzzer targets and the corpus replay of the normal test suite.
#include <QByteArray>
#include <QString>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

inline QByteArray fuzzBytes(const uint8_t* data, size_t size)
{
    return QByteArray(reinterpret_cast<const char*>(data), qsizetype(size));
}

// Texts reach the parsers as UTF-8 from files and as one character per byte from sockets.
inline QString fuzzText(const uint8_t* data, size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
}

// A property that must hold for every input; a broken one is reported like a crash.
#define FUZZ_CHECK(cond)                                                                                               \
    do {                                                                                                               \
        if (!(cond)) {                                                                                                 \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond);                                   \
            abort();                                                                                                   \
        }                                                                                                              \
    } while (0)
