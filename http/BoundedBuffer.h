#pragma once

#include <QBuffer>

// A buffer in memory that takes at most `limit` bytes. A write that would
// go beyond takes nothing and fails, and the buffer remembers it, so a body
// from a server that does not stop can never fill the memory.
class BoundedBuffer : public QBuffer {
    Q_OBJECT

public:
    explicit BoundedBuffer(qint64 limit, QObject* parent = nullptr);

    qint64 limit() const { return maximum; }
    // A write was refused.
    bool overflowed() const { return refused; }

protected:
    qint64 writeData(const char* data, qint64 length) override;

private:
    qint64 maximum;
    bool refused = false;
};
