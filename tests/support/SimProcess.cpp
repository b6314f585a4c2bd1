#include "SimProcess.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryFile>

#include <minizip/unzip.h>

#include <csignal>
#include <sys/prctl.h>

SimProcess::SimProcess(const QStringList& options, const QString& program)
{
    // A test that dies takes its server along.
    child.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
    child.start(program, QStringList { QStringLiteral("--listen"), QStringLiteral("127.0.0.1:0") } + options);
    // The address comes in one write, once the simulator listens.
    if (child.waitForReadyRead(patience()) && child.canReadLine())
        authority = QString::fromLatin1(child.readLine().trimmed());
}

void SimProcess::serveAllServices() const
{
    for (const char* variable : { "RELKA_ELEVATION_SERVER", "RELKA_TILE_SERVER", "RELKA_GEOCODER" })
        qputenv(variable, url(QString()).authority().toLatin1());
}

int SimProcess::patience()
{
    return 300000 * std::max(1, qEnvironmentVariableIntValue("RELKA_TEST_TIME_FACTOR"));
}

SimProcess::~SimProcess()
{
    // SIGTERM first: the simulator then removes its archive folder. Should
    // it hang, ~QProcess kills it.
    child.terminate();
    child.waitForFinished(5000);
}

Fetched fetch(QNetworkAccessManager& network, const QUrl& url)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply* reply = network.get(request);
    if (!reply->isFinished() && !QSignalSpy(reply, &QNetworkReply::finished).wait(30000))
        reply->abort();
    Fetched fetched { reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll(),
        {} };
    for (const auto& [name, value] : reply->rawHeaderPairs())
        fetched.headers.insert(name.toLower(), value);
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

QString summaryPath(const QString& product, const QString& area)
{
    return QStringLiteral(
        "/Website/distreq/RequestSummary.jsp?PR=0&CU=Native&ZX=-1.0&ZY=-1.0&ML=COM&MD=DL&AL=%1"
        "&CS=250&PL=%2")
        .arg(area, product);
}

QString submissionUrl(const QByteArray& page)
{
    const QString form
        = QString::fromLatin1(page.mid(page.indexOf("<FORM"))).section(QStringLiteral("</FORM"), 0, 0);
    static const QRegularExpression action(
        QStringLiteral("ACTION=\"([^\"]*)\""), QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression input(
        QStringLiteral("<INPUT[^>]*NAME=\"([^\"]*)\"[^>]*VALUE=\"([^\"]*)\""),
        QRegularExpression::CaseInsensitiveOption);
    QString url = action.match(form).captured(1) + QLatin1Char('?');
    for (const QRegularExpressionMatch& match : input.globalMatch(form))
        url += QStringLiteral("&%1=%2").arg(match.captured(1), match.captured(2));
    return url;
}

QByteArray entryEndingIn(const QMap<QString, QByteArray>& entries, const QString& suffix)
{
    for (auto it = entries.begin(); it != entries.end(); ++it) {
        if (it.key().endsWith(suffix, Qt::CaseInsensitive))
            return it.value();
    }
    return {};
}
