#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>

#include <cstddef>
#include <cstdint>

// One fuzz input cut into the files a target writes: the parts are
// separated by lines that hold "@@" alone, so that the seeds stay readable
// text. Missing parts are empty; a separator beyond the last part stays in
// that part.
class FuzzInput {
public:
    static QList<QByteArray> parts(const uint8_t* data, size_t size, int count);
    // Writes the parts, one a suffix, as base + suffix.
    static void writeFiles(
        const uint8_t* data, size_t size, const QString& base, const QStringList& suffixes);
};
