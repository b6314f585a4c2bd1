#include "PartialFile.h"

#include <QFile>
#include <QSaveFile>

PartialFile::PartialFile(const QString& path)
    : path(path)
{
    QFile map(mapPath());
    if (!map.open(QIODevice::ReadOnly))
        return;
    const QByteArray content = map.readAll();
    const qsizetype line = content.indexOf('\n');
    const qint64 size = content.left(line).toLongLong();
    const QByteArray marks = content.mid(line + 1);
    if (line > 0 && size > 0 && marks.size() == (size + chunkSize - 1) / chunkSize) {
        fileSize = size;
        chunks = marks;
    }
}

QString PartialFile::dataPath() const { return path + QStringLiteral(".partial"); }

QString PartialFile::mapPath() const { return path + QStringLiteral(".chunks"); }

bool PartialFile::create(qint64 size)
{
    QFile data(dataPath());
    if (size <= 0 || !data.open(QIODevice::WriteOnly | QIODevice::Truncate) || !data.resize(size))
        return false;
    fileSize = size;
    chunks = QByteArray(qsizetype((size + chunkSize - 1) / chunkSize), '0');
    return saveMap();
}

bool PartialFile::has(const ByteRange& range) const
{
    if (!exists() || range.offset < 0)
        return false;
    const qint64 end = std::min(range.end(), fileSize);
    for (qint64 chunk = range.offset / chunkSize; chunk * chunkSize < end; ++chunk) {
        if (chunks.at(chunk) != '1')
            return false;
    }
    return true;
}

QList<ByteRange> PartialFile::missing(const QList<ByteRange>& wanted) const
{
    QByteArray needed(chunks.size(), '0');
    for (const ByteRange& range : wanted) {
        const qint64 end = std::min(range.end(), fileSize);
        for (qint64 chunk = std::max<qint64>(0, range.offset) / chunkSize; chunk * chunkSize < end; ++chunk)
            needed[chunk] = chunks.at(chunk) == '1' ? '0' : '1';
    }
    QList<ByteRange> ranges;
    for (qint64 chunk = 0; chunk < needed.size(); ++chunk) {
        if (needed.at(chunk) != '1')
            continue;
        const qint64 start = chunk * chunkSize;
        if (!ranges.isEmpty() && ranges.last().end() == start && ranges.last().length < maximumFetch)
            ranges.last().length = chunkEnd(chunk) - ranges.last().offset;
        else
            ranges.append({ start, chunkEnd(chunk) - start });
    }
    return ranges;
}

bool PartialFile::store(qint64 offset, const QString& piece)
{
    QFile source(piece);
    QFile data(dataPath());
    if (!exists() || !source.open(QIODevice::ReadOnly) || offset + source.size() > fileSize
        || !data.open(QIODevice::ReadWrite) || !data.seek(offset))
        return false;
    while (!source.atEnd()) {
        const QByteArray block = source.read(1024 * 1024);
        if (block.isEmpty() || data.write(block) != block.size())
            return false;
    }
    if (!data.flush())
        return false;
    const qint64 end = offset + source.size();
    for (qint64 chunk = (offset + chunkSize - 1) / chunkSize; chunk < chunks.size() && chunkEnd(chunk) <= end;
         ++chunk)
        chunks[chunk] = '1';
    return saveMap();
}

void PartialFile::remove() const
{
    QFile::remove(mapPath());
    QFile::remove(dataPath());
}

bool PartialFile::saveMap() const
{
    QSaveFile map(mapPath());
    const QByteArray content = QByteArray::number(fileSize) + '\n' + chunks;
    return map.open(QIODevice::WriteOnly) && map.write(content) == content.size() && map.commit();
}
