#pragma once

#include <QByteArray>
#include <QDateTime>

// The date format of HTTP header fields, "Sun, 06 Nov 1994 08:49:37 GMT".
class HttpDate {
public:
    // Invalid when the text is not such a date.
    static QDateTime parse(const QByteArray& text);
};
