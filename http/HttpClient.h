#pragma once

#include "http/HttpResponseHeader.h"
#include "http/ServiceEndpoint.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QSslError>
#include <QString>

#include <optional>

class QIODevice;
class QNetworkAccessManager;
class QNetworkReply;

// A queue of HTTP operations against one host, carried out one at a time in
// the order they were issued.
//
// Life of an operation:
//   queued   setHost()/get() return its id; hasPendingRequests() is true.
//   started  requestStarted(id) when its turn comes. A host setting then
//            finishes at once with requestFinished(id, false), no traffic.
//   GET      responseHeaderReceived(header) once, dataReadProgress(done, total)
//            per received piece of the body, requestFinished(id, error).
//   failed   a transport failure (refused, reset, unknown host, timeout,
//            a broken chunked body) or a device that does not take a piece
//            of the body finishes with error = true and drops every queued operation
//            without a report. An HTTP error status is a normal answer.
//   aborted  abort() finishes the started operation with error = true before
//            it returns and drops the queued ones without a report; with
//            nothing started it only empties the queue.
// All other signals come from the event loop, never from inside a call. The
// next operation is due as soon as requestFinished is emitted, so a slot that
// runs a nested event loop may see it start.
//
// Ids come from one counter shared by every client of the process, so the
// ids of different clients never collide.
class HttpClient : public QObject {
    Q_OBJECT

public:
    explicit HttpClient(QObject* parent = nullptr);
    ~HttpClient() override;

    // Queues a host setting for the GETs issued after it.
    int setHost(const QString& host, quint16 port = ServiceEndpoint::defaultPort);
    // Queues a GET of path (which may carry a query). The body is written to
    // `to` as it arrives, the network reading only a little ahead of it; the
    // device stays owned by the caller and must stay open until the request
    // finishes. A device that refuses a piece (full, or a size limit) fails
    // the request. Without a device the body is dropped.
    int get(const QString& path, QIODevice* to = nullptr);

    void abort();
    bool hasPendingRequests() const;
    // Drops the queued operations; the one in progress goes on.
    void clearPendingRequests();
    // The operation in progress, 0 when there is none.
    int currentId() const;
    // Text of the last failure.
    QString errorString() const;
    // The last failure was the device refusing a piece of the body (a full
    // disk, say), not the transfer.
    bool bodyRefused() const;
    // Fails a GET that receives nothing for this long; 0 (the default) waits
    // without limit.
    void setTransferTimeout(int milliseconds);
    // Call from a slot of sslErrors() to go on with the current request.
    void ignoreSslErrors();

signals:
    void requestStarted(int id);
    void responseHeaderReceived(const HttpResponseHeader& header);
    void dataReadProgress(int done, int total);
    void requestFinished(int id, bool error);
    void sslErrors(const QList<QSslError>& errors);

private:
    struct Operation {
        int id = 0;
        // Set for a host setting, empty for a GET.
        std::optional<ServiceEndpoint> endpoint;
        QString path;
        QPointer<QIODevice> device;
    };

    int enqueue(Operation operation);
    void scheduleNext();
    void startNext();
    void startGet();
    void emitHeaderOnce();
    void readBody();
    void replyFinished();
    void finishCurrent(bool error);
    void releaseReply();

    QNetworkAccessManager* manager;
    QList<Operation> queue;
    Operation current;
    QNetworkReply* reply = nullptr;
    ServiceEndpoint endpoint { QString() };
    int transferTimeout = 0;
    bool startScheduled = false;
    bool headerEmitted = false;
    qint64 bodyTotal = 0;
    qint64 bodyDone = 0;
    QString lastError;
    bool refused = false;
};
