#include "TestHttpServer.h"

#include <QHostAddress>
#include <QTcpServer>

TestHttpServer::TestHttpServer(QObject* parent)
    : QObject(parent)
    , server([this](const Request& request, const HttpResponder& respond) { answer(request, respond); })
{
}

bool TestHttpServer::listen() { return server.listen(); }

QString TestHttpServer::host() const { return server.serverAddress().toString(); }

quint16 TestHttpServer::port() const { return server.serverPort(); }

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
    handlers.insert(target, handler);
}

QList<TestHttpServer::Request> TestHttpServer::requests() const { return received; }

void TestHttpServer::answer(const Request& request, const HttpResponder& respond)
{
    received.append(request);
    emit requestReceived(request);
    const QByteArray path = request.target.left(request.target.indexOf('?'));
    const Handler handler = handlers.value(request.target, handlers.value(path));
    respond(handler ? handler(request)
                    : HttpResponse::message(404, QStringLiteral("Nothing is set for this target.")));
}
