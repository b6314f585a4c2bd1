#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkAccessManager>
#include <QObject>
#include <QPair>
#include <QQueue>
#include <QUrl>

#include <functional>
#include <memory>

class QNetworkReply;

// The answer of an upstream server, or why there is none.
struct UpstreamReply {
    // 0 when no answer came (refused, unknown host, timed out, ...).
    int status = 0;
    QByteArray reason = {};
    QList<QPair<QByteArray, QByteArray>> headers = {};
    // Empty when the body went to a file.
    QByteArray body = {};
    // Set when status is 0: what went wrong, for a reason phrase.
    QString failure = {};
    bool timedOut = false;
    // The server asked to come back later (429, or 503 with Retry-After)
    // more often or for longer than the client waits.
    bool rateLimited = false;

    // First value of the field named name, ignoring case.
    QByteArray header(const QByteArray& name) const;
};

// GET requests to public servers for one kind of data, with a User-Agent
// that names the gateway and its user, at most a few at a time (the rest
// wait in order) and each failing when nothing moves for the timeout. Every
// attempt is logged with its status, size and time. Redirects are followed.
//
// Life of a call: queued by get(); started when a connection is free; a
// 429 or 503 answer whose Retry-After lies within the timeout is asked
// again after that wait (a few times at most), and a body going to a file
// that is cut off resumes with a range request from where it stopped, both
// on the same connection slot; finished with done(reply) from the event
// loop, never from inside get().
class UpstreamClient : public QObject {
    Q_OBJECT

public:
    struct Call {
        QUrl url;
        // A "Range: bytes=first-last" among them asks for part of the body.
        QList<QPair<QByteArray, QByteArray>> headers = {};
        // When set, a 200 or 206 body is written to this file instead of
        // the reply; on any other outcome the file is removed.
        QString file = {};
    };
    using Done = std::function<void(const UpstreamReply& reply)>;

    UpstreamClient(
        const QByteArray& userAgent, int timeoutSeconds, int connections, QObject* parent = nullptr);
    // Drops the calls under way, waiting and queued without calling their done.
    ~UpstreamClient() override;

    void get(const Call& call, const Done& done);

private:
    struct Transfer;

    void startNext();
    void start(const std::shared_ptr<Transfer>& transfer);
    void receive(QNetworkReply* reply, Transfer& transfer);
    void finish(QNetworkReply* reply, const std::shared_ptr<Transfer>& transfer);
    bool again(QNetworkReply* reply, const std::shared_ptr<Transfer>& transfer);
    void log(const Transfer& transfer, const QString& outcome) const;

    QNetworkAccessManager network;
    QByteArray userAgent;
    int timeoutSeconds;
    int connections;
    int active = 0;
    QQueue<std::shared_ptr<Transfer>> queue;
};
