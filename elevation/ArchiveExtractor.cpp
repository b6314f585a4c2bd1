#include "elevation/ArchiveExtractor.h"

#include "app/MessageLog.h"

#include <QDir>
#include <QFile>
#include <QtDebug>

#include <unzip.h>

#include <cstring>

namespace {

constexpr int chunkSize = 100000;
constexpr int infoBufferSize = 1024;

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

// Copies the current entry to target in chunks of the buffer's size.
void copyEntry(unzFile archive, const QString& entryName, const QString& target, QByteArray& buffer)
{
    QFile file(target);
    if (!file.open(QIODevice::WriteOnly)) {
        MessageLog::append(ArchiveExtractor::tr("Seamless error: could not write %1.").arg(target));
    } else {
        MessageLog::append((unzOpenCurrentFile(archive) == UNZ_OK
                ? ArchiveExtractor::tr("Seamless: unzOpenCurrentFile() successful for %1.")
                : ArchiveExtractor::tr("Seamless: unzOpenCurrentFile() failed for %1."))
                               .arg(entryName));
        int read;
        while ((read = unzReadCurrentFile(archive, buffer.data(), unsigned(buffer.size()))) > 0)
            file.write(buffer.constData(), read);
    }
    unzCloseCurrentFile(archive);
}

} // namespace

void ArchiveExtractor::removeOldSideFiles(const QString& directory)
{
    const QStringList filters { QStringLiteral("*.stx"), QStringLiteral("*.blw"), QStringLiteral("*.hdr"),
        QStringLiteral("*.bil"), QStringLiteral("*.prj"), QStringLiteral("*.bil.aux.xml"),
        QStringLiteral("*.aux"), QStringLiteral("meta1.html"), QStringLiteral("METADATA.???") };
    for (const QString& name : QDir(directory).entryList(filters, QDir::Files, QDir::Unsorted)) {
        const QString path = directory + u'/' + name;
        qDebug().noquote() << QStringLiteral("Removing file %1").arg(path);
        QFile::remove(path);
    }
}

void ArchiveExtractor::extract(const QString& archivePath, const QString& baseName)
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
            if (const QString target = targetOf(entryName, baseName); !target.isEmpty())
                copyEntry(archive, entryName, target, buffer);
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
}

bool ArchiveExtractor::rasterExtracted(const QString& baseName)
{
    return QFile::exists(baseName + QStringLiteral(".bil"))
        && QFile::exists(baseName + QStringLiteral(".hdr"));
}
