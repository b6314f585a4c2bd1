#include "HttpRequest.h"

#include <QUrl>

std::optional<HttpRequest> HttpRequest::fromHead(const QByteArray& head)
{
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> requestLine = lines.first().trimmed().split(' ');
    if (requestLine.size() != 3 || !requestLine[1].startsWith('/') || !requestLine[2].startsWith("HTTP/1."))
        return std::nullopt;
    HttpRequest request;
    request.method = requestLine[0];
    request.target = requestLine[1];
    request.version = requestLine[2];
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            return std::nullopt;
        request.headers.append({ line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed() });
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
        if (key == name)
            return value;
    }
    return {};
}

qint64 HttpRequest::contentLength() const
{
    return header("content-length").toLongLong();
}

bool HttpRequest::wantsKeepAlive() const
{
    const QByteArray connection = header("connection").toLower();
    return version == "HTTP/1.1" ? !connection.contains("close") : connection.contains("keep-alive");
}
