#pragma once

#include "HttpRequest.h"
#include "HttpResponseWriter.h"
#include "HttpServerLimits.h"

#include <QObject>
#include <QTimer>

#include <functional>

class QTcpSocket;

// One client connection. Requests are answered one at a time, in order.
// What a client sends meanwhile stays in the socket's read buffer, which is
// bounded, so a client that keeps sending only stalls its own sending. A
// connection is closed when nothing moves for the idle timeout: a request
// head that does not arrive in full (counted from the connection's start or
// the end of the previous answer), or an answer the client does not read.
// Waiting for the handler's answer, or for a silent one, has no deadline.
class HttpConnection : public QObject {
    Q_OBJECT

public:
    // Called once per request with the way to answer it, at once or later.
    using Handler = std::function<void(const HttpRequest& request, const HttpResponder& respond)>;

    // Takes ownership of the socket; deletes itself when the socket closes.
    HttpConnection(QTcpSocket* socket, const Handler& handler, const HttpServerLimits& limits,
        QObject* parent = nullptr);

private:
    void readInput();
    bool skipBody();
    void dispatch(qsizetype headEnd);
    void respond(quint64 requestNumber, HttpResponse response);
    void answerFinished(bool reusable);
    void closeIdle();
    QString origin(const HttpRequest& request) const;

    QTcpSocket* socket;
    Handler handler;
    HttpServerLimits limits;
    HttpResponseWriter writer;
    QByteArray input;
    // How far input has been searched for the end of the head.
    qsizetype searched = 0;
    qint64 bodyToSkip = 0;
    quint64 requestCount = 0;
    // The request waiting for its answer; 0 when there is none.
    quint64 awaited = 0;
    bool answering = false;
    bool keepAlive = true;
    // For the log: the request line, or a note on why there is none.
    QString requestLine;
    QTimer idle;
};
