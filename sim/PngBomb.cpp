#include "PngBomb.h"

#include <QtEndian>

#include <zlib.h>

namespace {

QByteArray chunk(const QByteArray& type, const QByteArray& data)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(quint32(data.size()), bytes.data());
    const QByteArray checked = type + data;
    QByteArray crc(4, '\0');
    qToBigEndian(quint32(crc32(0, reinterpret_cast<const Bytef*>(checked.constData()), uInt(checked.size()))),
        crc.data());
    return bytes + checked + crc;
}

} // namespace

QByteArray PngBomb::bytes()
{
    constexpr quint32 side = 100000;
    QByteArray header(13, '\0');
    qToBigEndian(side, header.data());
    qToBigEndian(side, header.data() + 4);
    header[8] = 8; // bits per sample
    header[9] = 2; // RGB
    // One row's worth of zeros, deflated; the rest of the picture never comes.
    const QByteArray row(1 + 3 * 1000, '\0');
    QByteArray deflated(int(compressBound(uLong(row.size()))), '\0');
    uLongf length = uLongf(deflated.size());
    compress(reinterpret_cast<Bytef*>(deflated.data()), &length,
        reinterpret_cast<const Bytef*>(row.constData()), uLong(row.size()));
    deflated.truncate(qsizetype(length));
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + chunk("IHDR", header) + chunk("IDAT", deflated)
        + chunk("IEND", {});
}
