#include "elevation/ArchiveExtractor.h"

#include "app/MessageLog.h"
#include "util/BackgroundWork.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSaveFile>
#include <QStorageInfo>
#include <QtDebug>

#include <unzip.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr int chunkSize = 100000;
constexpr int infoBufferSize = 1024;
// Far above the largest raster the service delivers for the largest area.
constexpr qint64 largestEntry = qint64(2) << 30;

// The file an entry goes to, or nothing when the entry is skipped.
QString targetOf(const QString& entryName, const QString& baseName)
{
    const QString ending = entryName.right(4).toLower();
    if (ending == QLatin1String(".bil") || ending == QLatin1String(".flt"))
        return baseName + QStringLiteral(".bil");
    if (ending == QLatin1String(".hdr") || ending == QLatin1String(".blw") || ending == QLatin1String(".stx"))
        return baseName + ending;
    return {};
}

// What one entry may take: what the disk holding target has free, and never
// more than a sane raster.
qint64 roomFor(const QString& target)
{
    const QStorageInfo disk(QFileInfo(target).absolutePath());
    return qMin(largestEntry, disk.isValid() ? disk.bytesAvailable() : largestEntry);
}

enum class Copy { Done, TooLarge, Cancelled };

// Copies the current entry to target in chunks of the buffer's size. The
// target appears under its name only once the entry is read in full, so an
// interrupted unpacking never leaves half a file behind.
Copy copyEntry(unzFile archive, const QString& entryName, const QString& target, qint64 room,
    QByteArray& buffer, const ArchiveExtractor::Continue& keepGoing)
{
    QSaveFile file(target);
    if (!file.open(QIODevice::WriteOnly)) {
        MessageLog::append(ArchiveExtractor::tr("Seamless error: could not write %1.").arg(target));
        unzCloseCurrentFile(archive);
        return Copy::Done;
    }
    MessageLog::append((unzOpenCurrentFile(archive) == UNZ_OK
            ? ArchiveExtractor::tr("Seamless: unzOpenCurrentFile() successful for %1.")
            : ArchiveExtractor::tr("Seamless: unzOpenCurrentFile() failed for %1."))
                           .arg(entryName));
    qint64 written = 0;
    Copy copy = Copy::Done;
    int read;
    while ((read = unzReadCurrentFile(archive, buffer.data(), unsigned(buffer.size()))) > 0) {
        written += read;
        if (written > room) {
            copy = Copy::TooLarge;
            break;
        }
        file.write(buffer.constData(), read);
        if (keepGoing && !keepGoing()) {
            copy = Copy::Cancelled;
            break;
        }
    }
    unzCloseCurrentFile(archive);
    if (copy == Copy::TooLarge)
        MessageLog::append(
            ArchiveExtractor::tr("Seamless error: %1 inflates to more than %2 bytes; unzip stopped.")
                .arg(entryName, QString::number(room)));
    // Committing flushes the file to the disk, which may take a while for a
    // large raster: beside the event loop.
    if (copy == Copy::Done)
        BackgroundWork::run([&file] { return file.commit(); });
    return copy;
}

// A projection file beside a picture's world file belongs to the picture,
// not to a raster.
bool belongsToWorldFile(const QString& directory, const QString& name)
{
    return name.endsWith(QLatin1String(".prj"), Qt::CaseInsensitive)
        && QFile::exists(directory + u'/' + name.chopped(4) + QStringLiteral(".pgw"));
}

} // namespace

// The base names whose raster a live run holds locked ("BASE.lock").
QStringList ArchiveExtractor::rectanglesInUse(const QString& directory)
{
    QStringList inUse;
    for (const QString& name : QDir(directory).entryList({ QStringLiteral("*.lock") }, QDir::Files)) {
        QLockFile lock(directory + u'/' + name);
        lock.setStaleLockTime(0);
        if (lock.tryLock(0))
            lock.unlock();
        else if (lock.error() == QLockFile::LockFailedError)
            inUse.append(name.chopped(5));
    }
    return inUse;
}

void ArchiveExtractor::removeOldSideFiles(const QString& directory)
{
    const QStringList filters { QStringLiteral("*.stx"), QStringLiteral("*.blw"), QStringLiteral("*.hdr"),
        QStringLiteral("*.bil"), QStringLiteral("*.prj"), QStringLiteral("*.bil.aux.xml"),
        QStringLiteral("*.aux"), QStringLiteral("meta1.html"), QStringLiteral("METADATA.???") };
    const QStringList inUse = rectanglesInUse(directory);
    for (const QString& name : QDir(directory).entryList(filters, QDir::Files, QDir::Unsorted)) {
        if (std::any_of(
                inUse.cbegin(), inUse.cend(), [&name](const QString& base) { return name.startsWith(base); })
            || belongsToWorldFile(directory, name))
            continue;
        const QString path = directory + u'/' + name;
        qDebug().noquote() << QStringLiteral("Removing file %1").arg(path);
        QFile::remove(path);
    }
}

bool ArchiveExtractor::extract(const QString& archivePath, const QString& baseName, const Continue& keepGoing)
{
    unzFile archive = unzOpen(QFile::encodeName(archivePath).constData());
    MessageLog::append(
        (archive ? tr("Seamless: unzOpen(%1) sucessful.") : tr("Seamless: unzOpen(%1) failed."))
            .arg(archivePath));
    int position = unzGoToFirstFile(archive);
    MessageLog::append(position == UNZ_OK ? tr("Seamless: unzGoToFirstFile() successful.")
                                          : tr("Seamless: unzGoToFirstFile() failed."));
    QByteArray buffer(chunkSize, Qt::Uninitialized);
    while (position == UNZ_OK) {
        unz_file_info info;
        char name[infoBufferSize];
        char extra[infoBufferSize];
        char comment[infoBufferSize];
        if (unzGetCurrentFileInfo(
                archive, &info, name, sizeof name, extra, sizeof extra, comment, sizeof comment)
            == UNZ_OK) {
            // The name is not terminated when it fills the buffer.
            const QString entryName = QString::fromLatin1(name, qsizetype(strnlen(name, sizeof name)));
            MessageLog::append(tr("Seamless: unzGetCurrentFileInfo() successful."));
            MessageLog::append(tr("Seamless: szFileName = %1, uncompressed_size = %2.")
                                   .arg(entryName, QString::number(info.uncompressed_size)));
            const QString target = targetOf(entryName, baseName);
            const qint64 room = target.isEmpty() ? 0 : roomFor(target);
            // The size an entry claims is checked before anything is written.
            if (!target.isEmpty() && qint64(info.uncompressed_size) > room) {
                MessageLog::append(
                    tr("Seamless error: %1 claims %2 bytes, more than the %3 bytes it may "
                       "take; unzip stopped.")
                        .arg(entryName, QString::number(info.uncompressed_size), QString::number(room)));
                break;
            }
            const Copy copy = target.isEmpty()
                ? Copy::Done
                : copyEntry(archive, entryName, target, room, buffer, keepGoing);
            if (copy == Copy::Cancelled) {
                unzClose(archive);
                return false;
            }
            if (copy == Copy::TooLarge)
                break;
        } else {
            MessageLog::append(tr("Seamless: unzGetCurrentFileInfo() failed."));
        }
        position = unzGoToNextFile(archive);
        MessageLog::append(position == UNZ_OK ? tr("Seamless: unzGoToNextFile() successful.")
                                              : tr("Seamless: unzGoToNextFile() failed."));
    }
    if (unzClose(archive) != UNZ_OK)
        MessageLog::append(tr("Seamless: Could not close %1.").arg(archivePath));
    MessageLog::append(tr("Seamless: Unzip finished."));
    return true;
}

bool ArchiveExtractor::rasterExtracted(const QString& baseName)
{
    return QFile::exists(baseName + QStringLiteral(".bil"))
        && QFile::exists(baseName + QStringLiteral(".hdr"));
}
