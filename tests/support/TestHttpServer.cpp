#include "TestHttpServer.h"

#include <QHostAddress>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace {

const QByteArray headEnd = QByteArrayLiteral("\r\n\r\n");

// Splits a request head (request line and header lines) into a request.
TestHttpServer::Request parseHead(const QByteArray& head)
{
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    TestHttpServer::Request request;
    request.method = requestLine.value(0);
    request.target = requestLine.value(1);
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0)
            request.headers.append({lines[i].left(colon).trimmed(), lines[i].mid(colon + 1).trimmed()});
    }
    return request;
}

} // namespace

QByteArray TestHttpServer::Request::path() const
{
    const qsizetype question = target.indexOf('?');
    return question < 0 ? target : target.left(question);
}

QByteArray TestHttpServer::Request::header(const QByteArray& name) const
{
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

TestHttpServer::TestHttpServer(QObject* parent)
    : QObject(parent)
    , m_server(new QTcpServer(this))
{
    connect(m_server, &QTcpServer::newConnection, this, &TestHttpServer::acceptConnections);
}

TestHttpServer::~TestHttpServer()
{
    // The sockets die with the listening server; their last signals must not
    // reach this half-destroyed object.
    for (QTcpSocket* socket : m_input.keys())
        disconnect(socket, nullptr, this, nullptr);
}

bool TestHttpServer::listen()
{
    return m_server->listen(QHostAddress::LocalHost, 0);
}

QString TestHttpServer::host() const
{
    return QHostAddress(QHostAddress::LocalHost).toString();
}

quint16 TestHttpServer::port() const
{
    return m_server->serverPort();
}

quint16 TestHttpServer::closedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

void TestHttpServer::setResponse(const QByteArray& target, const Response& response)
{
    setHandler(target, [response](const Request&) { return response; });
}

void TestHttpServer::setHandler(const QByteArray& target, const Handler& handler)
{
    m_handlers.insert(target, handler);
}

QList<TestHttpServer::Request> TestHttpServer::requests() const
{
    return m_requests;
}

void TestHttpServer::acceptConnections()
{
    while (QTcpSocket* socket = m_server->nextPendingConnection()) {
        m_input.insert(socket, {});
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readRequests(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_input.remove(socket);
            socket->deleteLater();
        });
    }
}

void TestHttpServer::readRequests(QTcpSocket* socket)
{
    QByteArray& input = m_input[socket];
    input += socket->readAll();
    for (qsizetype end = input.indexOf(headEnd); end >= 0; end = input.indexOf(headEnd)) {
        Request request = parseHead(input.left(end));
        const qsizetype bodyLength = request.header("content-length").toLongLong();
        if (input.size() < end + headEnd.size() + bodyLength)
            return;
        input.remove(0, end + headEnd.size() + bodyLength);
        m_requests.append(request);
        emit requestReceived(request);
        answer(socket, responseFor(request));
    }
}

void TestHttpServer::answer(QTcpSocket* socket, const Response& response)
{
    if (response.silent)
        return;
    QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + ' ' + response.reason + "\r\n";
    for (const auto& [name, value] : response.headers)
        head += name + ": " + value + "\r\n";
    switch (response.framing) {
    case Response::Framing::ContentLength:
        head += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
        break;
    case Response::Framing::Chunked:
        head += "Transfer-Encoding: chunked\r\n";
        break;
    case Response::Framing::CloseDelimited:
        head += "Connection: close\r\n";
        break;
    }
    socket->write(head + "\r\n");
    writeBody(socket, response, 0);
}

void TestHttpServer::writeBody(QTcpSocket* socket, const Response& response, qint64 offset)
{
    const bool drops = response.dropAfter >= 0;
    const qint64 end = drops ? qMin<qint64>(response.dropAfter, response.body.size()) : response.body.size();
    const qint64 pieceSize = response.pieceSize > 0 ? response.pieceSize : end - offset;
    const QByteArray piece = response.body.mid(offset, qMin(pieceSize, end - offset));
    if (!piece.isEmpty() && response.framing == Response::Framing::Chunked)
        socket->write(QByteArray::number(piece.size(), 16) + "\r\n" + piece + "\r\n");
    else if (!piece.isEmpty())
        socket->write(piece);
    offset += piece.size();
    if (offset < end) {
        QTimer::singleShot(response.pieceDelayMs, this, [this, guard = QPointer(socket), response, offset] {
            if (guard && guard->state() == QAbstractSocket::ConnectedState)
                writeBody(guard, response, offset);
        });
        return;
    }
    if (response.framing == Response::Framing::Chunked && !drops)
        socket->write("0\r\n\r\n");
    if (drops || response.framing == Response::Framing::CloseDelimited)
        socket->disconnectFromHost();
}

TestHttpServer::Response TestHttpServer::responseFor(const Request& request) const
{
    const Handler handler = m_handlers.value(request.target, m_handlers.value(request.path()));
    if (handler)
        return handler(request);
    return {.status = 404, .reason = "Not Found", .body = "Not Found"};
}
