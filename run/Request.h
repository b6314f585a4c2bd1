#pragma once

#include <QString>

class QBuffer;

// One issued GET. The client writes the body into `buffer`; `processed`
// marks a reply that a finished-handler has already taken on.
//
// Handlers free the buffer as soon as the body is used (releaseBuffer());
// the record itself lives as long as someone holds it (see RequestRegistry).
class Request {
public:
    // The buffer is created without a parent and opened for reading and
    // writing.
    explicit Request(const QString& url);
    ~Request();
    Q_DISABLE_COPY_MOVE(Request)

    // Closes and deletes the buffer; afterwards `buffer` is null.
    void releaseBuffer();

    QBuffer* buffer;
    QString url;
    bool processed = false;
};
