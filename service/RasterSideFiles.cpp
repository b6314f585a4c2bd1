#include "RasterSideFiles.h"

#include <QString>

#include <cmath>

namespace {

QByteArray number(double value) { return QByteArray::number(value, 'g', 15); }

using Lines = std::initializer_list<std::pair<const char*, QByteArray>>;

// "KEY  value" with the values in one column.
QByteArray aligned(Lines lines)
{
    QByteArray text;
    for (const auto& [key, value] : lines)
        text += QByteArray(key).leftJustified(14) + value + "\r\n";
    return text;
}

QByteArray labelled(Lines lines)
{
    QByteArray text;
    for (const auto& [key, value] : lines)
        text += QByteArray(key) + ": " + value + "\r\n";
    return text;
}

}

RasterSideFiles::RasterSideFiles(
    const ElevationProduct& product, const ExtractArea& area, const RasterGrid& grid)
    : product(product)
    , area(area)
    , grid(grid)
{
}

QByteArray RasterSideFiles::header() const
{
    switch (product.dialect) {
    case ElevationProduct::Dialect::Esri:
        return esriHeader();
    case ElevationProduct::Dialect::GridFloat:
        return gridFloatHeader();
    case ElevationProduct::Dialect::Labelled:
        return labelledHeader();
    }
    return {};
}

QByteArray RasterSideFiles::esriHeader() const
{
    const QByteArray rowBytes = QByteArray::number(qint64(grid.columns) * product.bytesPerSample());
    return aligned({ { "BYTEORDER", product.bigEndian ? "M" : "I" }, { "LAYOUT", "BIL" },
        { "NROWS", QByteArray::number(grid.rows) }, { "NCOLS", QByteArray::number(grid.columns) },
        { "NBANDS", "1" }, { "NBITS", "16" }, { "BANDROWBYTES", rowBytes }, { "TOTALROWBYTES", rowBytes },
        { "BANDGAPBYTES", "0" }, { "NODATA", number(product.nodata()) },
        { "ULXMAP", number(grid.longitude(0)) }, { "ULYMAP", number(grid.latitude(0)) },
        { "XDIM", number(grid.step()) }, { "YDIM", number(grid.step()) } });
}

// Corner keywords name the outer corner of the lower-left cell, half a cell
// beyond the sample that lies on the rectangle's edge.
QByteArray RasterSideFiles::gridFloatHeader() const
{
    const double half = grid.step() / 2;
    return aligned({ { "ncols", QByteArray::number(grid.columns) },
        { "nrows", QByteArray::number(grid.rows) }, { "xllcorner", number(grid.longitude(0) - half) },
        { "yllcorner", number(grid.latitude(grid.rows - 1) - half) }, { "cellsize", number(grid.step()) },
        { "NODATA_value", number(product.nodata()) }, { "byteorder", "LSBFIRST" } });
}

QByteArray RasterSideFiles::labelledHeader() const
{
    return labelled({ { "PRODUCT", product.code }, { "ROWS", QByteArray::number(grid.rows) },
        { "COLUMNS", QByteArray::number(grid.columns) }, { "BANDS", "1" }, { "DATATYPE", "f32" },
        { "BYTE_ORDER", "I" }, { "LAYOUT", "BIL" }, { "UL_X_COORDINATE", number(grid.longitude(0)) },
        { "UL_Y_COORDINATE", number(grid.latitude(0)) }, { "PIXEL_WIDTH", number(grid.step()) },
        { "PIXEL_HEIGHT", number(grid.step()) }, { "MAP_UNITS", "DEGREES" },
        { "NODATA", number(product.nodata()) } });
}

QByteArray RasterSideFiles::worldFile() const
{
    return number(grid.step()) + "\r\n0.0\r\n0.0\r\n" + number(-grid.step()) + "\r\n"
        + number(grid.longitude(0)) + "\r\n" + number(grid.latitude(0)) + "\r\n";
}

// Minimum and maximum are whole numbers even for float rasters: readers
// take them as integers.
QByteArray RasterSideFiles::statistics(const RasterStatistics& statistics) const
{
    return "1 " + QByteArray::number(qint64(std::floor(statistics.minimum))) + ' '
        + QByteArray::number(qint64(std::ceil(statistics.maximum))) + ' ' + number(statistics.mean) + ' '
        + number(statistics.deviation) + "\r\n";
}

QByteArray RasterSideFiles::projection() const
{
    if (product.nad83)
        return "GEOGCS[\"GCS_North_American_1983\",DATUM[\"D_North_American_1983\",SPHEROID[\"GRS_1980\","
               "6378137.0,298.257222101]],PRIMEM[\"Greenwich\",0.0],UNIT[\"Degree\",0.0174532925199433]]";
    return "GEOGCS[\"GCS_WGS_1984\",DATUM[\"D_WGS_1984\",SPHEROID[\"WGS_1984\",6378137.0,298.257223563]],"
           "PRIMEM[\"Greenwich\",0.0],UNIT[\"Degree\",0.0174532925199433]]";
}

QByteArray RasterSideFiles::metadataPage(const QString& origin) const
{
    return QStringLiteral("<HTML><HEAD><TITLE>Extract metadata</TITLE></HEAD><BODY>\r\n"
                          "<H2>%1</H2>\r\n<TABLE>\r\n"
                          "<TR><TD>Product code</TD><TD>%2</TD></TR>\r\n"
                          "<TR><TD>Requested area (N, S, E, W)</TD><TD>%3</TD></TR>\r\n"
                          "<TR><TD>Rows x columns</TD><TD>%4 x %5</TD></TR>\r\n"
                          "<TR><TD>Cell size</TD><TD>%6 degrees</TD></TR>\r\n"
                          "<TR><TD>Horizontal datum</TD><TD>%7</TD></TR>\r\n"
                          "</TABLE>\r\n<P>%8</P>\r\n"
                          "</BODY></HTML>\r\n")
        .arg(QLatin1String(product.title), QLatin1String(product.code), area.text.toHtmlEscaped())
        .arg(grid.rows)
        .arg(grid.columns)
        .arg(grid.step(), 0, 'g', 15)
        .arg(product.nad83 ? QStringLiteral("NAD83") : QStringLiteral("WGS84"), origin.toHtmlEscaped())
        .toLatin1();
}
