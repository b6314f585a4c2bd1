#include "http/BoundedBuffer.h"

BoundedBuffer::BoundedBuffer(qint64 limit, QObject* parent)
    : QBuffer(parent)
    , maximum(limit)
{
}

qint64 BoundedBuffer::writeData(const char* data, qint64 length)
{
    if (pos() + length > maximum) {
        refused = true;
        return -1;
    }
    return QBuffer::writeData(data, length);
}
