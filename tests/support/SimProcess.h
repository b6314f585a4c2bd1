#pragma once

#include <QMap>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>

// A running relka-sim (or another server that prints its address the same
// way, such as relka-gateway) for one test: started with the given options
// on a free loopback port, stopped when the object goes (killed if it does
// not end by itself).
class SimProcess {
public:
    explicit SimProcess(const QStringList& options = {}, const QString& program = executable());
    ~SimProcess();

    // False when the simulator did not print its address in time.
    bool isRunning() const { return !authority.isEmpty(); }
    QUrl url(const QString& path) const { return QUrl("http://" + authority + path, QUrl::TolerantMode); }
    QProcess& process() { return child; }
    // Points the program's three services, and those of the programs it
    // starts, at this server.
    void serveAllServices() const;

    static QString executable() { return QStringLiteral(RELKA_BINARY_DIR "/sim/relka-sim"); }
    // The limit of a wait for a program or a run, in milliseconds. Every
    // wait ends with the event it waits for; the limit only guards against
    // a hang. It grows with RELKA_TEST_TIME_FACTOR on a slow machine.
    static int patience();

private:
    QProcess child;
    QString authority;
};

// One finished GET, redirects not followed; header names in lower case.
struct Fetched {
    int status = 0;
    QByteArray body;
    QMap<QByteArray, QByteArray> headers;
};

// Waits at most 30 s; a reply still running then is aborted.
Fetched fetch(QNetworkAccessManager& network, const QUrl& url);

// Entry name to content, read with minizip; empty when the data is no ZIP.
QMap<QString, QByteArray> unzipEntries(const QByteArray& archive);

// What a client of the elevation extract service builds and looks for.
// The request-summary path for a product code and an "AL=" area text.
QString summaryPath(const QString& product, const QString& area);
// The download address the program builds from the page: the form's
// target, "?", then "&name=value" for every INPUT with both attributes.
QString submissionUrl(const QByteArray& page);
// The first archive entry whose name ends in suffix (any case), or nothing.
QByteArray entryEndingIn(const QMap<QString, QByteArray>& entries, const QString& suffix);
