#include "HttpResponse.h"

#include <QFileInfo>

namespace {

QByteArray oneLine(QByteArray text) { return text.replace('\r', ' ').replace('\n', ' '); }

}

HttpResponse HttpResponse::page(int status, const QString& html)
{
    HttpResponse response;
    response.status = status;
    response.setHeader("Content-Type", "text/html; charset=ISO-8859-1");
    response.body = html.toLatin1();
    return response;
}

HttpResponse HttpResponse::message(int status, const QString& text)
{
    return page(status,
        QStringLiteral("<HTML><HEAD><TITLE>%1 %2</TITLE></HEAD><BODY><H1>%2</H1><P>%3</P></BODY></HTML>\r\n")
            .arg(QString::number(status), QString::fromLatin1(standardReason(status)), text.toHtmlEscaped()));
}

HttpResponse HttpResponse::failure(int status, const QString& text)
{
    HttpResponse response = message(status, text);
    response.reason = text.toLatin1();
    return response;
}

HttpResponse HttpResponse::redirect(const QString& location)
{
    HttpResponse response = message(302, QStringLiteral("The document has moved to %1.").arg(location));
    response.setHeader("Location", location.toLatin1());
    return response;
}

HttpResponse HttpResponse::onlyGet()
{
    HttpResponse response = message(405, QStringLiteral("Only GET is served here."));
    response.setHeader("Allow", "GET");
    return response;
}

QByteArray HttpResponse::standardReason(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 204:
        return "No Content";
    case 301:
        return "Moved Permanently";
    case 302:
        return "Found";
    case 303:
        return "See Other";
    case 304:
        return "Not Modified";
    case 307:
        return "Temporary Redirect";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 410:
        return "Gone";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    default:
        return "Status " + QByteArray::number(status);
    }
}

void HttpResponse::setHeader(const QByteArray& name, const QByteArray& value)
{
    headers.append({ name, value });
}

void HttpResponse::setByteRate(int bytesPerSecond)
{
    pieceSize = std::max(1, bytesPerSecond / 10);
    pieceDelayMs = 100;
}

qint64 HttpResponse::bodySize() const
{
    return bodyFile.isEmpty() ? body.size() : QFileInfo(bodyFile).size();
}

QByteArray HttpResponse::head(qint64 bodySize, bool keepAlive) const
{
    QByteArray text = "HTTP/1.1 " + QByteArray::number(status) + ' '
        + oneLine(reason.isEmpty() ? standardReason(status) : reason) + "\r\n";
    for (const auto& [name, value] : headers)
        text += oneLine(name) + ": " + oneLine(value) + "\r\n";
    switch (framing) {
    case Framing::ContentLength:
        text += "Content-Length: " + QByteArray::number(bodySize) + "\r\n";
        break;
    case Framing::Chunked:
        text += "Transfer-Encoding: chunked\r\n";
        break;
    case Framing::CloseDelimited:
        keepAlive = false;
        break;
    }
    text += keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n";
    return text;
}
