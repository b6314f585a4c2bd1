#include "ArchiveTamper.h"

#include <QtEndian>

namespace {

// Offsets in the local header and in the central directory record.
constexpr qsizetype localSize = 22;
constexpr qsizetype localNameLength = 26;
constexpr qsizetype localName = 30;
constexpr qsizetype centralSize = 24;
constexpr qsizetype centralNameLength = 28;
constexpr qsizetype centralExtraLength = 30;
constexpr qsizetype centralCommentLength = 32;
constexpr qsizetype centralLocalOffset = 42;
constexpr qsizetype centralName = 46;
constexpr qsizetype endRecordSize = 22;
constexpr quint32 claimedSize = 0xF0000000;

quint16 word(const QByteArray& zip, qsizetype at) { return qFromLittleEndian<quint16>(zip.constData() + at); }
quint32 dword(const QByteArray& zip, qsizetype at)
{
    return qFromLittleEndian<quint32>(zip.constData() + at);
}

void overwriteName(QByteArray& zip, qsizetype name, int length, ArchiveTamper::Fault fault)
{
    const QByteArray prefix = fault == ArchiveTamper::Fault::ClimbingNames ? "../" : "/";
    if (length >= prefix.size())
        zip.replace(name, prefix.size(), prefix);
}

} // namespace

std::optional<ArchiveTamper::Fault> ArchiveTamper::parse(const QString& name)
{
    if (name == QLatin1String("climbing-names"))
        return Fault::ClimbingNames;
    if (name == QLatin1String("absolute-names"))
        return Fault::AbsoluteNames;
    if (name == QLatin1String("claims-gigabytes"))
        return Fault::ClaimsGigabytes;
    return std::nullopt;
}

QString ArchiveTamper::names() { return QStringLiteral("climbing-names, absolute-names, claims-gigabytes"); }

QByteArray ArchiveTamper::apply(QByteArray zip, Fault fault)
{
    const qsizetype end = zip.lastIndexOf(QByteArrayView("PK\x05\x06", 4));
    if (end < 0 || end + endRecordSize > zip.size())
        return zip;
    const int entries = word(zip, end + 10);
    qsizetype record = dword(zip, end + 16);
    for (int i = 0; i < entries; ++i) {
        if (record + centralName > zip.size() || !zip.mid(record, 4).startsWith("PK\x01\x02"))
            break;
        const int nameLength = word(zip, record + centralNameLength);
        const qsizetype local = dword(zip, record + centralLocalOffset);
        if (local + localName > zip.size() || record + centralName + nameLength > zip.size())
            break;
        const QByteArray name = zip.mid(record + centralName, nameLength);
        if (fault == Fault::ClaimsGigabytes) {
            if (name.toLower().endsWith(".bil") || name.toLower().endsWith(".flt")) {
                qToLittleEndian(claimedSize, zip.data() + record + centralSize);
                if (dword(zip, local + localSize) != 0)
                    qToLittleEndian(claimedSize, zip.data() + local + localSize);
            }
        } else if (word(zip, local + localNameLength) == nameLength) {
            overwriteName(zip, record + centralName, nameLength, fault);
            overwriteName(zip, local + localName, nameLength, fault);
        }
        record += centralName + nameLength + word(zip, record + centralExtraLength)
            + word(zip, record + centralCommentLength);
    }
    return zip;
}
