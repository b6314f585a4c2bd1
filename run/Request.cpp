#include "run/Request.h"

#include <QBuffer>

Request::Request(const QString& url)
    : buffer(new QBuffer)
    , url(url)
{
    buffer->open(QIODevice::ReadWrite);
}

Request::~Request() { releaseBuffer(); }

void Request::releaseBuffer()
{
    delete buffer;
    buffer = nullptr;
}
