#include "HttpServer.h"

#include "HttpServerLog.h"

#include <QTcpSocket>

#include <fcntl.h>

HttpServer::HttpServer(const Handler& handler, QObject* parent)
    : QObject(parent)
    , handler(handler)
{
    // One accepted socket at a time, so the cap on connections holds.
    server.setMaxPendingConnections(1);
    retry.setSingleShot(true);
    connect(&server, &QTcpServer::newConnection, this, &HttpServer::acceptConnections);
    connect(&server, &QTcpServer::acceptError, this, &HttpServer::acceptFailed);
    connect(&retry, &QTimer::timeout, this, &HttpServer::retryAccepting);
}

void HttpServer::setLimits(const HttpServerLimits& limits) { bounds = limits; }

bool HttpServer::listen(const QHostAddress& address, quint16 port)
{
    if (!address.isLoopback()) {
        refusal = QStringLiteral("%1 is no loopback address").arg(address.toString());
        return false;
    }
    refusal.clear();
    return server.listen(address, port);
}

QHostAddress HttpServer::serverAddress() const { return server.serverAddress(); }

QString HttpServer::authority() const
{
    const QString host = serverAddress().toString();
    const QString bracketed = serverAddress().protocol() == QAbstractSocket::IPv6Protocol
        ? QStringLiteral("[%1]").arg(host)
        : host;
    return QStringLiteral("%1:%2").arg(bracketed).arg(serverPort());
}

quint16 HttpServer::serverPort() const { return server.serverPort(); }

QString HttpServer::errorString() const { return refusal.isEmpty() ? server.errorString() : refusal; }

void HttpServer::acceptConnections()
{
    while (connections < bounds.connections) {
        QTcpSocket* socket = server.nextPendingConnection();
        if (!socket)
            break;
        ++connections;
        auto* connection = new HttpConnection(socket, handler, bounds, this);
        connect(connection, &QObject::destroyed, this, [this] {
            --connections;
            acceptConnections();
        });
    }
    updateAccepting();
}

// QTcpServer stops accepting after such a failure; it is resumed once the
// pause is over.
void HttpServer::acceptFailed()
{
    // No QDebug stream here: with no descriptor left, the less this path
    // needs of the system the better.
    qCWarning(httpServerLog, "accepting a connection failed (%s), next try in %d ms",
        qUtf8Printable(server.errorString()), bounds.acceptRetryMs);
    retry.start(bounds.acceptRetryMs);
    updateAccepting();
}

void HttpServer::retryAccepting()
{
    if (!server.hasPendingConnections() && !renewListener()) {
        retry.start(bounds.acceptRetryMs);
        return;
    }
    acceptConnections();
}

// After one failed accept, QTcpServer reports every later accept that finds
// no client as that same failure: its socket engine keeps the first error it
// saw. A fresh engine on the same listening socket starts clean; the socket
// and the clients in its queue stay. Needs one free descriptor.
bool HttpServer::renewListener()
{
    const int descriptor = ::fcntl(int(server.socketDescriptor()), F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0)
        return false;
    server.close();
    return server.setSocketDescriptor(descriptor);
}

void HttpServer::updateAccepting()
{
    if (!server.isListening())
        return;
    if (connections >= bounds.connections || retry.isActive())
        server.pauseAccepting();
    else
        server.resumeAccepting();
}
