#include "HttpRequest.h"

#include <QByteArrayView>
#include <QUrl>

#include <algorithm>

namespace {

bool isControl(char c)
{
    const auto byte = uchar(c);
    return (byte < 0x20 && c != '\t') || byte == 0x7f;
}

}

qsizetype HttpRequest::headEnd(const QByteArray& input, qsizetype from)
{
    for (qsizetype lf = input.indexOf('\n', from); lf >= 0; lf = input.indexOf('\n', lf + 1)) {
        const QByteArrayView rest = QByteArrayView(input).sliced(lf + 1);
        if (rest.startsWith('\n'))
            return lf + 2;
        if (rest.startsWith("\r\n"))
            return lf + 3;
    }
    return -1;
}

std::optional<HttpRequest> HttpRequest::fromHead(const QByteArray& head)
{
    QList<QByteArray> lines = head.split('\n');
    for (QByteArray& line : lines) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (std::any_of(line.cbegin(), line.cend(), isControl))
            return std::nullopt;
    }
    while (!lines.isEmpty() && lines.first().isEmpty())
        lines.removeFirst();
    while (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    const QList<QByteArray> requestLine
        = lines.isEmpty() ? QList<QByteArray>() : lines.takeFirst().split(' ');
    if (requestLine.size() != 3 || !requestLine[1].startsWith('/') || !requestLine[2].startsWith("HTTP/1."))
        return std::nullopt;
    HttpRequest request;
    request.method = requestLine[0];
    request.target = requestLine[1];
    request.version = requestLine[2];
    for (const QByteArray& line : std::as_const(lines)) {
        const qsizetype colon = line.indexOf(':');
        const QByteArray name = line.left(colon);
        if (colon <= 0 || name.trimmed() != name)
            return std::nullopt;
        request.headers.append({ name, line.mid(colon + 1).trimmed() });
    }
    const QUrl url = QUrl::fromEncoded(request.target);
    if (!url.isValid())
        return std::nullopt;
    request.path = url.path();
    request.query = QUrlQuery(url);
    return request;
}

QByteArray HttpRequest::header(const QByteArray& name) const
{
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

std::optional<qint64> HttpRequest::bodyLength() const
{
    if (!header("transfer-encoding").isEmpty())
        return std::nullopt;
    const QByteArray text = header("content-length");
    if (text.isEmpty())
        return 0;
    bool ok = false;
    const qint64 length = text.toLongLong(&ok);
    return ok && length >= 0 ? std::optional<qint64>(length) : std::nullopt;
}

bool HttpRequest::wantsKeepAlive() const
{
    const QByteArray connection = header("connection").toLower();
    return version == "HTTP/1.1" ? !connection.contains("close") : connection.contains("keep-alive");
}
