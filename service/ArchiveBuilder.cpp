#include "ArchiveBuilder.h"

#include "RasterSideFiles.h"
#include "TerrainRows.h"

#include <QFile>
#include <QtConcurrent>
#include <QtEndian>

#include <minizip/zip.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr int blockRows = 64;
constexpr int blocksAtOnce = 8;
// Fast deflate: the largest raster is over 200 MB and compression, not the
// terrain, dominates the time.
constexpr int compressionLevel = 1;

struct RowStatistics {
    double minimum = std::numeric_limits<double>::max();
    double maximum = std::numeric_limits<double>::lowest();
    double sum = 0;
    double squares = 0;
    qint64 count = 0;

    void add(double value)
    {
        minimum = std::min(minimum, value);
        maximum = std::max(maximum, value);
        sum += value;
        squares += value * value;
        ++count;
    }

    void add(const RowStatistics& other)
    {
        minimum = std::min(minimum, other.minimum);
        maximum = std::max(maximum, other.maximum);
        sum += other.sum;
        squares += other.squares;
        count += other.count;
    }

    RasterStatistics summary() const
    {
        if (count == 0)
            return {};
        const double mean = sum / double(count);
        return { minimum, maximum, mean, std::sqrt(std::max(0.0, squares / double(count) - mean * mean)) };
    }
};

// A run of raster rows, encoded and deflated on its own. The pieces end
// with a sync flush, except the last, so that written one after another
// they form a single deflate stream.
struct DeflatedBlock {
    QByteArray data;
    qint64 size = 0;
    uLong checksum = 0;
    RowStatistics statistics;
};

QByteArray deflatePiece(const QByteArray& raw, bool last)
{
    z_stream stream {};
    deflateInit2(&stream, compressionLevel, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    QByteArray out(qsizetype(deflateBound(&stream, uLong(raw.size())) + 64), Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(raw.constData()));
    stream.avail_in = uInt(raw.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    deflate(&stream, last ? Z_FINISH : Z_SYNC_FLUSH);
    out.truncate(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return out;
}

class ZipWriter {
public:
    explicit ZipWriter(const QString& path)
        : zip(zipOpen64(QFile::encodeName(path).constData(), APPEND_STATUS_CREATE))
    {
    }
    ~ZipWriter()
    {
        if (zip)
            zipClose(zip, nullptr);
    }
    bool isOpen() const { return zip != nullptr; }

    // With raw set, the caller writes deflated data and closes the entry
    // with endRaw().
    bool begin(const QString& name, bool raw = false)
    {
        // A fixed date keeps archives of the same request byte-identical.
        zip_fileinfo info {};
        info.tmz_date = { 0, 0, 12, 1, 5, 2009 };
        return zipOpenNewFileInZip2(zip, QFile::encodeName(name).constData(), &info, nullptr, 0, nullptr, 0,
                   nullptr, Z_DEFLATED, compressionLevel, raw ? 1 : 0)
            == ZIP_OK;
    }
    bool append(const char* data, qint64 size)
    {
        return zipWriteInFileInZip(zip, data, unsigned(size)) == ZIP_OK;
    }
    bool end() { return zipCloseFileInZip(zip) == ZIP_OK; }
    bool endRaw(qint64 size, uLong checksum)
    {
        return zipCloseFileInZipRaw(zip, uLong(size), checksum) == ZIP_OK;
    }
    bool entry(const QString& name, const QByteArray& data)
    {
        return begin(name) && append(data.constData(), data.size()) && end();
    }
    bool close()
    {
        const bool ok = zipClose(zip, nullptr) == ZIP_OK;
        zip = nullptr;
        return ok;
    }

private:
    zipFile zip;
};

void encodeRow(
    const ElevationProduct& product, int columns, const float* values, char* out, RowStatistics& statistics)
{
    for (int c = 0; c < columns; ++c) {
        const float value = values[c];
        const bool isVoid = std::isnan(value);
        if (product.dialect == ElevationProduct::Dialect::Esri) {
            const qint16 sample
                = isVoid ? qint16(-32768) : qint16(std::clamp(std::lround(value), -32767L, 32767L));
            if (!isVoid)
                statistics.add(sample);
            product.bigEndian ? qToBigEndian(sample, out + 2 * c) : qToLittleEndian(sample, out + 2 * c);
        } else {
            const float sample = isVoid ? float(product.nodata()) : value;
            if (!isVoid)
                statistics.add(sample);
            product.bigEndian ? qToBigEndian(sample, out + 4 * c) : qToLittleEndian(sample, out + 4 * c);
        }
    }
}

}

ArchiveBuilder::ArchiveBuilder(
    const ElevationProduct& product, const ExtractArea& area, const RasterGrid& grid, bool withHeader)
    : product(product)
    , area(area)
    , grid(grid)
    , withHeader(withHeader)
{
}

QString ArchiveBuilder::stem() const
{
    const QByteArray key = QByteArray(product.code) + ' ' + QByteArray::number(grid.topRow) + ' '
        + QByteArray::number(grid.leftColumn) + ' ' + QByteArray::number(grid.rows) + ' '
        + QByteArray::number(grid.columns) + (grid.cellCentred ? " cells" : "");
    const uLong checksum = crc32(0L, reinterpret_cast<const Bytef*>(key.constData()), uInt(key.size()));
    return QString::number(checksum % 100000000u).rightJustified(8, QLatin1Char('0'));
}

bool ArchiveBuilder::write(
    const QString& path, const TerrainRows& terrain, const std::atomic_bool& stop) const
{
    ZipWriter zip(path);
    if (!zip.isOpen())
        return false;
    const QString name = stem();
    const RasterSideFiles sideFiles(product, area, grid);
    if (withHeader && !zip.entry(product.entryName(name, QStringLiteral("hdr")), sideFiles.header()))
        return false;

    const qint64 rowBytes = qint64(grid.columns) * product.bytesPerSample();
    auto deflateBlock = [&](int firstRow) {
        const int count = std::min(blockRows, grid.rows - firstRow);
        DeflatedBlock block;
        QByteArray raw(qsizetype(count * rowBytes), Qt::Uninitialized);
        std::vector<float> values(grid.columns);
        for (int i = 0; i < count; ++i) {
            terrain.fillRow(firstRow + i, values.data());
            encodeRow(product, grid.columns, values.data(), raw.data() + i * rowBytes, block.statistics);
        }
        block.size = raw.size();
        block.checksum = crc32(0L, reinterpret_cast<const Bytef*>(raw.constData()), uInt(raw.size()));
        block.data = deflatePiece(raw, firstRow + count == grid.rows);
        return block;
    };

    if (!zip.begin(product.rasterEntry(name), true))
        return false;
    RowStatistics total;
    qint64 size = 0;
    uLong checksum = crc32(0L, nullptr, 0);
    for (int firstRow = 0; firstRow < grid.rows; firstRow += blockRows * blocksAtOnce) {
        if (stop)
            return false;
        std::vector<int> starts;
        for (int row = firstRow; row < std::min(grid.rows, firstRow + blockRows * blocksAtOnce);
             row += blockRows)
            starts.push_back(row);
        for (const DeflatedBlock& block :
            QtConcurrent::blockingMapped<QList<DeflatedBlock>>(starts, deflateBlock)) {
            if (!zip.append(block.data.constData(), block.data.size()))
                return false;
            checksum = crc32_combine(checksum, block.checksum, z_off_t(block.size));
            size += block.size;
            total.add(block.statistics);
        }
    }
    return zip.endRaw(size, checksum)
        && zip.entry(product.entryName(name, QStringLiteral("blw")), sideFiles.worldFile())
        && zip.entry(product.entryName(name, QStringLiteral("stx")), sideFiles.statistics(total.summary()))
        && zip.entry(product.entryName(name, QStringLiteral("prj")), sideFiles.projection())
        && zip.entry(product.metadataEntry(name), sideFiles.metadataPage(terrain.origin())) && zip.close();
}
