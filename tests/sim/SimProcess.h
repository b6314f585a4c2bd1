#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QStringList>
#include <QUrl>

// A running relka-sim for one test: started with the given options on a
// free loopback port, stopped when the object goes (killed if it does not
// end by itself).
class SimProcess
{
public:
    explicit SimProcess(const QStringList& options = {});
    ~SimProcess();

    // False when the simulator did not print its address in time.
    bool isRunning() const { return !authority.isEmpty(); }
    QUrl url(const QString& pathAndQuery) const;
    QProcess& process() { return child; }

    static QString executable();

private:
    QProcess child;
    QString authority;
};

// One finished GET, redirects not followed.
struct Fetched {
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    int status = 0;
    QByteArray body;
    QList<QNetworkReply::RawHeaderPair> headers;
    qint64 milliseconds = 0;

    QByteArray header(const QByteArray& name) const;
};

// Waits at most timeoutMs; a reply still running then is aborted.
Fetched fetch(QNetworkAccessManager& network, const QUrl& url, int timeoutMs = 30000);

// Entry name to content, read with minizip; empty when the data is no ZIP.
QMap<QString, QByteArray> unzipEntries(const QByteArray& archive);
