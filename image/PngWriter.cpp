#include "PngWriter.h"

#include "image/PngRowFilter.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFileInfo>
#include <QSaveFile>
#include <QtEndian>

#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#include <zlib.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <vector>

namespace {

// How the rows of an image are filtered and how hard libdeflate compresses them.
struct Method {
    PngRowFilter::Rule rule;
    int level;
};

// Measured on the import's files of the largest rasters (SRTM 1" integers,
// NED 1/3" floats) against what Qt's writer makes of the same images (the
// minimum-sum filter heuristic, zlib level 6, filtered strategy). With the
// heuristic, libdeflate needs level 3 on the integer elevations (+0.6 %;
// level 2 is 3 % larger) and level 6 on pictures (-0.3 %; level 5 is 2.4 %
// larger), the bulk of the time. Other choices fit some images far better:
// integer elevation rows resemble the row above (Up at level 2: 8 % smaller
// than Qt's), the float elevations' noisy low bytes suit level 1 (5 %
// smaller, twice as fast as level 3), and the colour file is bands of a few
// colours, which deflate finds as repeats of the raw bytes (None at level 2:
// 13 % smaller), each several times faster. Which one fits an image is tried
// on a sample of its rows; the heuristic at the level that keeps within 2 %
// of Qt's size is always among the candidates.
std::vector<Method> candidatesFor(PngWriter::Content content)
{
    using Rule = PngRowFilter::Rule;
    switch (content) {
    case PngWriter::Content::Elevation:
        return { { Rule::MinimumSum, 3 }, { Rule::MinimumSum, 1 }, { Rule::Up, 2 } };
    case PngWriter::Content::Picture:
        return { { Rule::MinimumSum, 6 }, { Rule::None, 2 } };
    case PngWriter::Content::Mask:
    case PngWriter::Content::Derived:
        break;
    }
    return {};
}

// Masks: libdeflate stays 2.2 to 4 % above zlib at every level up to 11
// (level 12 takes seconds), so masks are compressed by zlib exactly as
// libpng does; that is half a second at most, spent beside the uncorrected
// image.

std::atomic<bool> qtWriterOnly { false };

constexpr uchar colourTypeGrey = 0;
constexpr uchar colourTypeRgb = 2;
constexpr uchar colourTypeRgba = 6;
// Large enough that the chunk framing costs nothing, small enough for any
// reader's buffers.
constexpr qsizetype idatBytes = 1 << 20;

// How the rows of an image in a given format are written, as Qt's writer
// writes them: the colour type, and the format whose bytes are the PNG
// pixel bytes.
struct Layout {
    uchar colourType;
    QImage::Format rowFormat;
    int bytesPerPixel;
    uchar bitDepth = 8;
};

std::optional<Layout> layoutOf(const QImage& image)
{
    if (qtWriterOnly || image.isNull() || !image.textKeys().isEmpty() || image.colorSpace().isValid()
        || !image.offset().isNull())
        return std::nullopt;
    switch (image.format()) {
    case QImage::Format_RGB888:
    case QImage::Format_BGR888:
    case QImage::Format_RGB32:
    case QImage::Format_RGBX8888:
        return Layout { colourTypeRgb, QImage::Format_RGB888, 3 };
    case QImage::Format_ARGB32:
    case QImage::Format_ARGB32_Premultiplied:
    case QImage::Format_RGBA8888:
    case QImage::Format_RGBA8888_Premultiplied:
        return Layout { colourTypeRgba, QImage::Format_RGBA8888, 4 };
    case QImage::Format_Grayscale8:
        return Layout { colourTypeGrey, QImage::Format_Grayscale8, 1 };
    case QImage::Format_Grayscale16:
        return Layout { colourTypeGrey, QImage::Format_Grayscale16, 2, 16 };
    default:
        return std::nullopt;
    }
}

// Image rows as PNG pixel bytes: the scan line itself where the format
// matches, else a converted copy of the row. PNG keeps 16-bit samples most
// significant byte first.
class RowSource {
public:
    RowSource(const QImage& image, QImage::Format rowFormat)
        : image(image)
        , rowFormat(rowFormat)
    {
    }

    const uchar* row(int y)
    {
        if (image.format() == QImage::Format_Grayscale16 && QSysInfo::ByteOrder == QSysInfo::LittleEndian) {
            swapped.resize(std::size_t(image.width()) * 2);
            qToBigEndian<quint16>(image.constScanLine(y), image.width(), swapped.data());
            return swapped.data();
        }
        if (image.format() == rowFormat)
            return image.constScanLine(y);
        converted = QImage(image.constScanLine(y), image.width(), 1, image.bytesPerLine(), image.format())
                        .convertToFormat(rowFormat);
        return converted.constBits();
    }

private:
    const QImage& image;
    QImage::Format rowFormat;
    QImage converted;
    std::vector<uchar> swapped;
};

bool writeChunk(QIODevice& device, const char* type, const uchar* data, qsizetype size)
{
    uchar length[4];
    qToBigEndian(static_cast<quint32>(size), length);
    // libdeflate_crc32 starts over for a null buffer.
    const quint32 typeCrc = libdeflate_crc32(0, type, 4);
    uchar crc[4];
    qToBigEndian(size > 0 ? static_cast<quint32>(libdeflate_crc32(typeCrc, data, size)) : typeCrc, crc);
    return device.write(reinterpret_cast<const char*>(length), 4) == 4 && device.write(type, 4) == 4
        && device.write(reinterpret_cast<const char*>(data), size) == size
        && device.write(reinterpret_cast<const char*>(crc), 4) == 4;
}

qsizetype rowBytesOf(const QImage& image, const Layout& layout)
{
    return qsizetype(image.width()) * layout.bytesPerPixel;
}

// Hands each filtered row of rows [first, end), led by its filter type
// byte, to take() in turn.
template <typename Take>
void filterRows(
    const QImage& image, const Layout& layout, PngRowFilter::Rule rule, int first, int end, Take take)
{
    const qsizetype rowBytes = rowBytesOf(image, layout);
    PngRowFilter filter(layout.bytesPerPixel, rowBytes, rule);
    RowSource rows(image, layout.rowFormat);
    std::vector<uchar> filtered(rowBytes + 1);
    // The raw row above; a converted row is gone once the next is made.
    std::vector<uchar> previous(rowBytes);
    if (first > 0) {
        const uchar* above = rows.row(first - 1);
        std::copy(above, above + rowBytes, previous.begin());
    }
    for (int y = first; y < end; ++y) {
        const uchar* row = rows.row(y);
        filter.filter(row, y > 0 ? previous.data() : nullptr, filtered.data());
        take(filtered.data());
        std::copy(row, row + rowBytes, previous.begin());
    }
}

// libdeflate compresses one buffer at once: all filtered rows are held.
// The buffers are left uninitialised: zeroing them would cost as much as
// a filter pass, and the output's bound is far larger than what is written.
QByteArray libdeflateStream(const QImage& image, const Layout& layout, const Method& method, int first = 0,
    std::optional<int> end = std::nullopt)
{
    const int last = end.value_or(image.height());
    const qsizetype filteredRowBytes = rowBytesOf(image, layout) + 1;
    QByteArray filtered(filteredRowBytes * (last - first), Qt::Uninitialized);
    char* next = filtered.data();
    filterRows(image, layout, method.rule, first, last,
        [&next, filteredRowBytes](const uchar* row) { next = std::copy(row, row + filteredRowBytes, next); });
    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
        libdeflate_alloc_compressor(method.level), libdeflate_free_compressor);
    QByteArray out(
        qsizetype(libdeflate_zlib_compress_bound(compressor.get(), filtered.size())), Qt::Uninitialized);
    out.truncate(qsizetype(libdeflate_zlib_compress(
        compressor.get(), filtered.constData(), filtered.size(), out.data(), out.size())));
    return out;
}

// The candidate that compresses a sample of the image smallest: a few
// bands of rows spread over its height, each long enough to fill deflate's
// window a few times over. The first candidate, the safe one, gives way to
// another filter rule only for a clear gain: a sample judges levels of one
// filtering well, but may misjudge another filtering of the whole image by
// a few per cent (the merged texture's).
Method chosenMethod(const QImage& image, const Layout& layout, const std::vector<Method>& candidates)
{
    constexpr int bands = 4;
    constexpr int bandRows = 24;
    constexpr double clearGain = 0.97;
    const int height = image.height();
    const auto sampleSize = [&](const Method& method) {
        if (height <= 2 * bands * bandRows)
            return libdeflateStream(image, layout, method).size();
        qsizetype size = 0;
        for (int band = 0; band < bands; ++band) {
            const int first = int(qint64(height - bandRows) * (2 * band + 1) / (2 * bands));
            size += libdeflateStream(image, layout, method, first, first + bandRows).size();
        }
        return size;
    };
    Method best = candidates.front();
    const qsizetype firstSize = sampleSize(best);
    qsizetype bestSize = firstSize;
    for (auto method = candidates.begin() + 1; method != candidates.end(); ++method) {
        const qsizetype size = sampleSize(*method);
        const double gain = method->rule == candidates.front().rule ? 1.0 : clearGain;
        if (size < bestSize && size < gain * firstSize) {
            best = *method;
            bestSize = size;
        }
    }
    return best;
}

// Streams filtered rows through a compressor: deflate(row, last, out,
// capacity) takes the row (null: the one before, not yet all taken), writes
// at most capacity bytes at out, sets capacity to how many it wrote and
// returns false on an error. It is called again while it fills all the room
// it was given, so every row, and after the last row the stream's end, gets
// through.
template <typename Deflate>
QByteArray streamRows(const QImage& image, const Layout& layout, PngRowFilter::Rule rule, Deflate deflate)
{
    constexpr qsizetype room = 1 << 16;
    QByteArray out;
    qsizetype written = 0;
    bool ok = true;
    const auto take = [&](const uchar* row, bool last) {
        qsizetype count = room;
        while (ok && count == room) {
            if (out.size() - written < room)
                out.resize(written + std::max(room, out.size() / 2));
            count = room;
            ok = deflate(row, last, reinterpret_cast<uchar*>(out.data()) + written, count);
            written += count;
            row = nullptr;
        }
    };
    int y = 0;
    filterRows(
        image, layout, rule, 0, image.height(), [&](const uchar* row) { take(row, ++y == image.height()); });
    out.resize(ok ? written : 0);
    return out;
}

// libpng's settings: level 6, the largest window, the filtered strategy. zlib
// takes the rows one by one, so they are never held all at once.
QByteArray zlibStream(const QImage& image, const Layout& layout)
{
    z_stream stream {};
    if (deflateInit2(&stream, 6, Z_DEFLATED, 15, 8, Z_FILTERED) != Z_OK)
        return {};
    const uInt rowBytes = static_cast<uInt>(rowBytesOf(image, layout) + 1);
    QByteArray out = streamRows(image, layout, PngRowFilter::Rule::MinimumSum,
        [&](const uchar* row, bool last, uchar* next, qsizetype& capacity) {
            if (row) {
                stream.next_in = const_cast<uchar*>(row);
                stream.avail_in = rowBytes;
            }
            stream.next_out = next;
            stream.avail_out = static_cast<uInt>(capacity);
            const int result = deflate(&stream, last ? Z_FINISH : Z_NO_FLUSH);
            capacity -= stream.avail_out;
            // Room left over means the row is taken, or the stream ended.
            return result == Z_OK || result == Z_BUF_ERROR || result == Z_STREAM_END;
        });
    deflateEnd(&stream);
    return out;
}

#if defined(__x86_64__)
__attribute__((target("avx"))) void clearUpperHalves() { _mm256_zeroupper(); }
#endif

// ISA-L's vector code returns with the upper halves of the AVX registers in
// use. Until they are cleared, every SSE instruction on the thread waits on
// them: the row filter between two calls, and whatever the thread runs next
// (the shading after the heightmap took 2.5 times as long).
void afterIsal()
{
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx"))
        clearUpperHalves();
#endif
}

// Pictures made for other programs: each row like the one above it, at
// ISA-L's fastest level with a large hash table. On the outputs of the
// largest raster this took a third to a half of libdeflate's fastest level's time
// for files 1.5 to 2.6 % larger, and the rows stream through.
QByteArray isalStream(const QImage& image, const Layout& layout)
{
    isal_zstream stream;
    isal_deflate_init(&stream);
    std::vector<uint8_t> levelBuffer(ISAL_DEF_LVL1_LARGE);
    stream.level = 1;
    stream.level_buf = levelBuffer.data();
    stream.level_buf_size = static_cast<uint32_t>(levelBuffer.size());
    stream.gzip_flag = IGZIP_ZLIB;
    const uint32_t rowBytes = static_cast<uint32_t>(rowBytesOf(image, layout) + 1);
    return streamRows(image, layout, PngRowFilter::Rule::Up,
        [&](const uchar* row, bool last, uchar* next, qsizetype& capacity) {
            if (row) {
                stream.next_in = const_cast<uchar*>(row);
                stream.avail_in = rowBytes;
                stream.end_of_stream = last;
            }
            stream.next_out = next;
            stream.avail_out = static_cast<uint32_t>(capacity);
            const int result = isal_deflate(&stream);
            afterIsal();
            capacity -= stream.avail_out;
            return result == COMP_OK;
        });
}

QByteArray compressed(const QImage& image, const Layout& layout, PngWriter::Content content)
{
    if (content == PngWriter::Content::Mask)
        return zlibStream(image, layout);
    if (content == PngWriter::Content::Derived)
        return isalStream(image, layout);
    const std::vector<Method> candidates = candidatesFor(content);
    if (candidates.size() == 1)
        return libdeflateStream(image, layout, candidates.front());
    return libdeflateStream(image, layout, chosenMethod(image, layout, candidates));
}

// Signature, header, resolution, the stream in IDAT chunks straight from
// where it was compressed, end.
bool writePng(QIODevice& device, const QImage& image, const Layout& layout, PngWriter::Content content)
{
    const QByteArray zlib = compressed(image, layout, content);
    if (zlib.isEmpty() || device.write("\x89PNG\r\n\x1a\n", 8) != 8)
        return false;
    uchar header[13];
    qToBigEndian(static_cast<quint32>(image.width()), header);
    qToBigEndian(static_cast<quint32>(image.height()), header + 4);
    header[8] = layout.bitDepth;
    header[9] = layout.colourType;
    header[10] = header[11] = header[12] = 0;
    if (!writeChunk(device, "IHDR", header, sizeof header))
        return false;
    if (image.dotsPerMeterX() > 0 || image.dotsPerMeterY() > 0) {
        uchar physical[9];
        qToBigEndian(static_cast<quint32>(image.dotsPerMeterX()), physical);
        qToBigEndian(static_cast<quint32>(image.dotsPerMeterY()), physical + 4);
        physical[8] = 1; // per metre
        if (!writeChunk(device, "pHYs", physical, sizeof physical))
            return false;
    }
    const uchar* stream = reinterpret_cast<const uchar*>(zlib.constData());
    for (qsizetype offset = 0; offset < zlib.size(); offset += idatBytes)
        if (!writeChunk(device, "IDAT", stream + offset, std::min(idatBytes, zlib.size() - offset)))
            return false;
    return writeChunk(device, "IEND", nullptr, 0);
}

// The file appears whole or not at all: written under a temporary name and
// renamed at the end, so a failed write leaves a previous file untouched.
template <typename Write> bool writeWhole(const QString& fileName, Write write)
{
    QSaveFile file(fileName);
    return file.open(QIODevice::WriteOnly) && write(file) && file.commit();
}

} // namespace

QByteArray PngWriter::encode(const QImage& image, Content content)
{
    QByteArray file;
    QBuffer buffer(&file);
    buffer.open(QIODevice::WriteOnly);
    const std::optional<Layout> layout = layoutOf(image);
    if (!layout)
        return image.isNull() || !image.save(&buffer, "PNG") ? QByteArray() : file;
    return writePng(buffer, image, *layout, content) ? file : QByteArray();
}

bool PngWriter::save(const QImage& image, const QString& fileName, Content content)
{
    if (image.isNull())
        return false;
    // Qt's writer picks the format by the suffix; so does the fallback.
    const QByteArray format = QFileInfo(fileName).suffix().toLower().toLatin1();
    const std::optional<Layout> layout = layoutOf(image);
    return writeWhole(fileName, [&](QIODevice& device) {
        return layout && format == "png" ? writePng(device, image, *layout, content)
                                         : image.save(&device, format.constData());
    });
}

bool PngWriter::save(const QByteArray& encoded, const QString& fileName)
{
    return !encoded.isEmpty() && writeWhole(fileName, [&encoded](QIODevice& device) {
        return device.write(encoded) == encoded.size();
    });
}

void PngWriter::setQtWriterOnly(bool qtOnly) { qtWriterOnly = qtOnly; }
