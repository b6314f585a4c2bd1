#include "RangeFile.h"

#include <QFile>

HttpResponse RangeFile::answer(const HttpRequest& request)
{
    if (!before.isEmpty() && (before.first().dropAfter < 0 || !before.first().body.isEmpty()))
        return before.takeFirst();
    const qint64 cut = before.isEmpty() ? -1 : before.takeFirst().dropAfter;
    QFile file(path);
    const QByteArray range = request.header("range");
    if (!file.open(QIODevice::ReadOnly) || !servesRanges || !range.startsWith("bytes=") || cut >= 0) {
        sent += cut >= 0 ? cut : file.size();
        return { .headers = { { "ETag", "\"v1\"" } }, .bodyFile = path, .dropAfter = cut };
    }
    const qint64 first = range.mid(6, range.indexOf('-') - 6).toLongLong();
    const QByteArray end = range.mid(range.indexOf('-') + 1);
    const qint64 last = end.isEmpty() ? file.size() - 1 : std::min(end.toLongLong(), file.size() - 1);
    file.seek(first);
    sent += last - first + 1;
    const QByteArray answered = QString("bytes %1-%2/%3").arg(first).arg(last).arg(file.size()).toLatin1();
    return {
        .status = 206, .headers = { { "Content-Range", answered } }, .body = file.read(last - first + 1)
    };
}
