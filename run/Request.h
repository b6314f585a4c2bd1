#pragma once

#include "http/BoundedBuffer.h"

#include <QSaveFile>
#include <QString>

#include <memory>

// One issued GET. The client writes the body into `buffer`, in memory and
// at most bodyLimit bytes, or, for a record made with a file name, straight
// into `file`, which takes the name only when the handler commits it;
// `processed` marks a reply that a finished-handler has already taken on.
//
// Handlers free the buffer as soon as the body is used (releaseBuffer());
// the record itself lives as long as someone holds it (see RequestRegistry).
class Request {
public:
    // Far above any page or tile the services send; a body beyond it is
    // refused, which fails the request.
    static constexpr qint64 bodyLimit = 16 * 1024 * 1024;

    // The buffer is created without a parent and opened for reading and
    // writing. With a file name the body goes to that file instead.
    explicit Request(const QString& url, const QString& fileName = QString());
    ~Request();
    Q_DISABLE_COPY_MOVE(Request)

    // Where the client writes the body: the buffer, or the file when it
    // opened. Null otherwise: the body is dropped.
    QIODevice* device() const;
    // The body outgrew bodyLimit.
    bool overflowed() const;
    // Closes and deletes the buffer and drops a file not committed;
    // afterwards `buffer` and `file` are null.
    void releaseBuffer();

    BoundedBuffer* buffer;
    std::unique_ptr<QSaveFile> file;
    QString url;
    bool processed = false;
};
