#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <algorithm>

// Some bytes of a file.
struct ByteRange {
    qint64 offset = 0;
    qint64 length = 0;

    qint64 end() const { return offset + length; }
    bool operator==(const ByteRange& other) const = default;
};

// A remote file of known size kept on disk in pieces, as far as it has been
// fetched: the fetched bytes lie at their place in a sparse file beside the
// file's own path ("<path>.partial"), and a map ("<path>.chunks") names the
// chunks of chunkSize bytes that are whole. The map is written after the
// bytes, so an interrupted gateway loses at most what the map does not
// name yet.
class PartialFile {
public:
    static constexpr qint64 chunkSize = 16 * 1024;

    // Reads the map when there is one.
    explicit PartialFile(const QString& path);

    bool exists() const { return !chunks.isEmpty(); }
    qint64 size() const { return fileSize; }
    QString dataPath() const;
    // Starts an empty file of the given size; false when it cannot be made.
    bool create(qint64 size);
    bool has(const ByteRange& range) const;
    // The chunks still to fetch for the wanted bytes, joined into ranges of
    // at most maximumFetch bytes.
    QList<ByteRange> missing(const QList<ByteRange>& wanted) const;
    // Puts the content of the file piece at offset; the chunks it fills
    // become whole. False when it cannot be written.
    bool store(qint64 offset, const QString& piece);
    void remove() const;

private:
    static constexpr qint64 maximumFetch = 4 * 1024 * 1024;

    QString mapPath() const;
    bool saveMap() const;
    qint64 chunkEnd(qint64 chunk) const { return std::min(fileSize, (chunk + 1) * chunkSize); }

    QString path;
    qint64 fileSize = 0;
    // '1' per whole chunk, '0' per missing one.
    QByteArray chunks;
};
