#include "SimProcess.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryFile>
#include <QTimer>

#include <minizip/unzip.h>

namespace {

constexpr int startTimeoutMs = 10000;

}

SimProcess::SimProcess(const QStringList& options)
{
    child.setProcessChannelMode(QProcess::SeparateChannels);
    child.start(
        executable(), QStringList { QStringLiteral("--listen"), QStringLiteral("127.0.0.1:0") } + options);
    QElapsedTimer clock;
    clock.start();
    while (!child.canReadLine() && child.state() != QProcess::NotRunning && clock.elapsed() < startTimeoutMs)
        child.waitForReadyRead(100);
    if (child.canReadLine())
        authority = QString::fromLatin1(child.readLine().trimmed());
}

SimProcess::~SimProcess()
{
    if (child.state() == QProcess::NotRunning)
        return;
    // SIGTERM first: the simulator then removes its archive folder.
    child.terminate();
    if (!child.waitForFinished(5000)) {
        child.kill();
        child.waitForFinished(5000);
    }
}

QString SimProcess::executable()
{
    return QStringLiteral(RELKA_BINARY_DIR "/sim/relka-sim");
}

QUrl SimProcess::url(const QString& pathAndQuery) const
{
    return QUrl(QStringLiteral("http://%1%2").arg(authority, pathAndQuery), QUrl::TolerantMode);
}

QByteArray Fetched::header(const QByteArray& name) const
{
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

Fetched fetch(QNetworkAccessManager& network, const QUrl& url, int timeoutMs)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QElapsedTimer clock;
    clock.start();
    QNetworkReply* reply = network.get(request);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    if (!reply->isFinished())
        reply->abort();
    Fetched fetched;
    fetched.error = reply->error();
    fetched.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    fetched.body = reply->readAll();
    fetched.headers = reply->rawHeaderPairs();
    fetched.milliseconds = clock.elapsed();
    reply->deleteLater();
    return fetched;
}

QMap<QString, QByteArray> unzipEntries(const QByteArray& archive)
{
    QMap<QString, QByteArray> entries;
    QTemporaryFile file;
    if (!file.open() || file.write(archive) != archive.size() || !file.flush())
        return entries;
    unzFile zip = unzOpen(QFile::encodeName(file.fileName()).constData());
    if (!zip)
        return entries;
    for (int status = unzGoToFirstFile(zip); status == UNZ_OK; status = unzGoToNextFile(zip)) {
        char name[1024];
        unz_file_info info;
        if (unzGetCurrentFileInfo(zip, &info, name, sizeof name, nullptr, 0, nullptr, 0) != UNZ_OK
            || unzOpenCurrentFile(zip) != UNZ_OK)
            break;
        QByteArray content(qsizetype(info.uncompressed_size), Qt::Uninitialized);
        const int read = unzReadCurrentFile(zip, content.data(), unsigned(content.size()));
        const bool intact = unzCloseCurrentFile(zip) == UNZ_OK && read == content.size();
        entries.insert(QString::fromLatin1(name), intact ? content : QByteArray("(damaged)"));
    }
    unzClose(zip);
    return entries;
}
