#include "RangeFile.h"

#include <QFile>
#include <QRegularExpression>

HttpResponse RangeFile::answer(const HttpRequest& request)
{
    QFile file(path);
    if (!before.isEmpty())
        return before.takeFirst();
    if (!file.open(QIODevice::ReadOnly))
        return { .status = 404 };
    static const QRegularExpression range(QStringLiteral("^bytes=(\\d+)-(\\d*)$"));
    const QRegularExpressionMatch match = range.match(QString::fromLatin1(request.header("range")));
    const QList<QPair<QByteArray, QByteArray>> headers { { "Accept-Ranges", "bytes" }, { "ETag", "\"v1\"" } };
    if (!servesRanges || !match.hasMatch()) {
        sent += cutAfter >= 0 ? cutAfter : file.size();
        return { .headers = headers, .bodyFile = path, .dropAfter = std::exchange(cutAfter, -1) };
    }
    const qint64 first = match.captured(1).toLongLong();
    const qint64 last = match.captured(2).isEmpty()
        ? file.size() - 1
        : std::min(match.captured(2).toLongLong(), file.size() - 1);
    file.seek(first);
    HttpResponse response { .status = 206, .headers = headers, .body = file.read(last - first + 1) };
    response.setHeader(
        "Content-Range", QStringLiteral("bytes %1-%2/%3").arg(first).arg(last).arg(file.size()).toLatin1());
    sent += response.body.size();
    return response;
}
