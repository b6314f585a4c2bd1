#include "run/Request.h"

Request::Request(const QString& url, const QString& fileName)
    : buffer(fileName.isEmpty() ? new BoundedBuffer(bodyLimit) : nullptr)
    , file(fileName.isEmpty() ? nullptr : std::make_unique<QSaveFile>(fileName))
    , url(url)
{
    if (buffer)
        buffer->open(QIODevice::ReadWrite);
    else
        file->open(QIODevice::WriteOnly);
}

Request::~Request() { releaseBuffer(); }

QIODevice* Request::device() const
{
    if (file)
        return file->isOpen() ? file.get() : nullptr;
    return buffer;
}

bool Request::overflowed() const { return buffer && buffer->overflowed(); }

void Request::releaseBuffer()
{
    delete buffer;
    buffer = nullptr;
    file.reset();
}
