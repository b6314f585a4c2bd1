#include "PngReader.h"

#include "image/PngRowFilter.h"

#include <QFile>
#include <QImageReader>
#include <QtEndian>

#include <libdeflate.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace {

constexpr char signature[] = "\x89PNG\r\n\x1a\n";

std::atomic<bool> qtReaderOnly { false };

struct Header {
    int width = 0;
    int height = 0;
    int bytesPerPixel = 0;
    QImage::Format format = QImage::Format_Invalid;
    int dotsPerMeterX = 0;
    int dotsPerMeterY = 0;
};

// The header, resolution and concatenated IDAT data of a file this reader
// decodes itself; nothing for any other file.
struct Parsed {
    Header header;
    std::vector<uchar> stream;
};

std::optional<Header> headerOf(const uchar* data)
{
    const quint32 width = qFromBigEndian<quint32>(data);
    const quint32 height = qFromBigEndian<quint32>(data + 4);
    // Bit depth 8; compression, filter method and interlacing all 0.
    if (width == 0 || height == 0 || width > INT_MAX / 4 || height > INT_MAX || data[8] != 8 || data[10] != 0
        || data[11] != 0 || data[12] != 0)
        return std::nullopt;
    Header header { int(width), int(height) };
    switch (data[9]) {
    case 0:
        header.bytesPerPixel = 1;
        header.format = QImage::Format_Grayscale8;
        break;
    case 2:
        header.bytesPerPixel = 3;
        header.format = QImage::Format_RGB32;
        break;
    case 6:
        header.bytesPerPixel = 4;
        header.format = QImage::Format_ARGB32;
        break;
    default:
        return std::nullopt;
    }
    return header;
}

std::optional<Parsed> parse(const uchar* file, qint64 size)
{
    if (size < 8 || std::memcmp(file, signature, 8) != 0)
        return std::nullopt;
    Parsed parsed;
    bool headerSeen = false;
    for (qint64 at = 8; at + 12 <= size;) {
        const quint32 length = qFromBigEndian<quint32>(file + at);
        if (length > quint32(size - at - 12))
            return std::nullopt;
        const uchar* type = file + at + 4;
        const uchar* data = type + 4;
        if (libdeflate_crc32(0, type, length + 4) != qFromBigEndian<quint32>(data + length))
            return std::nullopt;
        at += 12 + qint64(length);
        const auto is = [type](const char* name) { return std::memcmp(type, name, 4) == 0; };
        if (!headerSeen) {
            if (!is("IHDR") || length != 13)
                return std::nullopt;
            const std::optional<Header> header = headerOf(data);
            if (!header)
                return std::nullopt;
            parsed.header = *header;
            headerSeen = true;
        } else if (is("pHYs") && length == 9 && data[8] == 1 && parsed.stream.empty()) {
            parsed.header.dotsPerMeterX = int(qFromBigEndian<quint32>(data) & INT_MAX);
            parsed.header.dotsPerMeterY = int(qFromBigEndian<quint32>(data + 4) & INT_MAX);
        } else if (is("IDAT")) {
            parsed.stream.insert(parsed.stream.end(), data, data + length);
        } else if (is("IEND")) {
            return parsed.stream.empty() ? std::nullopt : std::optional(std::move(parsed));
        } else {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

// Qt's reader refuses images beyond QImageReader::allocationLimit();
// those are left to it, so that it refuses them the same way.
bool withinAllocationLimit(const Header& header)
{
    const qint64 megabytes = QImageReader::allocationLimit();
    const qint64 bytes = qint64(header.width) * header.height * (header.bytesPerPixel == 1 ? 1 : 4);
    return megabytes <= 0 || bytes <= megabytes * 1024 * 1024;
}

// Undoes one row's filter in place; prior is the row above, already
// unfiltered (zeros above the first row). False for an unknown filter type.
template <int Bpp> bool unfilter(uchar filter, uchar* __restrict row, const uchar* __restrict prior, int n)
{
    switch (filter) {
    case 0:
        return true;
    case 1:
        for (int i = Bpp; i < n; ++i)
            row[i] = uchar(row[i] + row[i - Bpp]);
        return true;
    case 2:
        for (int i = 0; i < n; ++i)
            row[i] = uchar(row[i] + prior[i]);
        return true;
    case 3:
        for (int i = 0; i < Bpp; ++i)
            row[i] = uchar(row[i] + prior[i] / 2);
        for (int i = Bpp; i < n; ++i)
            row[i] = uchar(row[i] + (row[i - Bpp] + prior[i]) / 2);
        return true;
    case 4:
        for (int i = 0; i < Bpp; ++i)
            row[i] = uchar(row[i] + prior[i]);
        for (int i = Bpp; i < n; ++i)
            row[i] = uchar(row[i] + PngRowFilter::paethPredictor(row[i - Bpp], prior[i], prior[i - Bpp]));
        return true;
    default:
        return false;
    }
}

// The unfiltered PNG pixel bytes of a row as a scan line of the image.
template <int Bpp> void toScanLine(const uchar* row, int width, uchar* line)
{
    if constexpr (Bpp == 1) {
        std::memcpy(line, row, width);
    } else {
        QRgb* out = reinterpret_cast<QRgb*>(line);
        for (int x = 0; x < width; ++x, row += Bpp)
            out[x] = qRgba(row[0], row[1], row[2], Bpp == 4 ? row[3] : 255);
    }
}

template <int Bpp> bool unfilterInto(uchar* filtered, const Header& header, QImage& image)
{
    const int rowBytes = header.width * Bpp;
    std::vector<uchar> zeros(rowBytes);
    const uchar* prior = zeros.data();
    for (int y = 0; y < header.height; ++y) {
        uchar* row = filtered + qsizetype(y) * (rowBytes + 1);
        if (!unfilter<Bpp>(row[0], row + 1, prior, rowBytes))
            return false;
        toScanLine<Bpp>(row + 1, header.width, image.scanLine(y));
        prior = row + 1;
    }
    return true;
}

QImage decode(const Parsed& parsed)
{
    const Header& header = parsed.header;
    const qsizetype filteredBytes = (qsizetype(header.width) * header.bytesPerPixel + 1) * header.height;
    // Uninitialised: the stream fills it.
    const std::unique_ptr<uchar[]> filtered(new uchar[filteredBytes]);
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
        libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    if (!decompressor
        || libdeflate_zlib_decompress(decompressor.get(), parsed.stream.data(), parsed.stream.size(),
               filtered.get(), filteredBytes, nullptr)
            != LIBDEFLATE_SUCCESS)
        return {};
    QImage image(header.width, header.height, header.format);
    if (image.isNull())
        return {};
    const bool decoded = header.bytesPerPixel == 1 ? unfilterInto<1>(filtered.get(), header, image)
        : header.bytesPerPixel == 3                ? unfilterInto<3>(filtered.get(), header, image)
                                                   : unfilterInto<4>(filtered.get(), header, image);
    if (!decoded)
        return {};
    if (header.dotsPerMeterX > 0)
        image.setDotsPerMeterX(header.dotsPerMeterX);
    if (header.dotsPerMeterY > 0)
        image.setDotsPerMeterY(header.dotsPerMeterY);
    return image;
}

} // namespace

QImage PngReader::read(const QString& fileName)
{
    QFile file(fileName);
    if (!qtReaderOnly && file.open(QIODevice::ReadOnly)) {
        const qint64 size = file.size();
        const uchar* mapped = size > 0 ? file.map(0, size) : nullptr;
        std::optional<Parsed> parsed = mapped ? parse(mapped, size) : std::nullopt;
        if (mapped)
            file.unmap(const_cast<uchar*>(mapped));
        file.close();
        if (parsed && withinAllocationLimit(parsed->header)) {
            const QImage image = decode(*parsed);
            if (!image.isNull())
                return image;
        }
    }
    return QImage(fileName);
}

void PngReader::allowLoading(const QSize& size)
{
    const qint64 megabytes = qint64(size.width()) * size.height() * 4 / (1024 * 1024) + 1;
    if (QImageReader::allocationLimit() > 0 && megabytes > QImageReader::allocationLimit())
        QImageReader::setAllocationLimit(static_cast<int>(std::min<qint64>(megabytes, INT_MAX)));
}

void PngReader::setQtReaderOnly(bool qtOnly) { qtReaderOnly = qtOnly; }
