#pragma once

#include <QByteArray>

#include <optional>

// A Content-Range field of a 206 answer, "bytes FIRST-LAST/SIZE".
struct ContentRange {
    qint64 first = 0;
    qint64 last = 0;
    // -1 when the server gives "*".
    qint64 size = -1;

    static std::optional<ContentRange> parse(const QByteArray& value);
};
