#include "BilHeaderFile.h"

#include "app/MessageBoxes.h"
#include "app/MessageLog.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QTextStream>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <initializer_list>

namespace {

// The longest decimal number at the start of text, 0 if there is none.
// strtod_l with the C locale: the application's locale may use a decimal
// comma, header files never do.
double leadingNumber(const QString& text)
{
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(text.toLatin1().constData(), nullptr, cLocale);
}

// Rows and columns the import accepts, as the validation texts name them.
constexpr int minimumSize = 16;
constexpr int maximumSize = 32768;

bool sizeValid(int size) { return size >= minimumSize && size <= maximumSize; }

// NaN fails every comparison, so it is no valid pixel size either.
bool pixelSizeValid(double size) { return size > 0 && std::isfinite(size); }

bool coordinateValid(double c) { return c != BilHeaderFile::unset && std::isfinite(c); }

bool startsWithAny(const QString& key, std::initializer_list<const char*> keywords)
{
    for (const char* keyword : keywords)
        if (key.startsWith(QLatin1String(keyword)))
            return true;
    return false;
}

// Pixel steps between the first and the last of count pixel centres; in
// double, since count is whatever the header says.
double steps(int count) { return double(count) - 1; }

} // namespace

BilHeaderFile::BilHeaderFile(const QString& fileName)
    : QFile(fileName)
{
    resetFields();
}

void BilHeaderFile::resetFields()
{
    rows = -1;
    cols = -1;
    bands = 1;
    nbits = -1;
    byteOrder = QStringLiteral("I");
    ulX = unset;
    ulY = unset;
    lrX = unset;
    lrY = unset;
    xllCorner = unset;
    yllCorner = unset;
    pixelWidth = unset;
    pixelHeight = unset;
    mapUnits = QStringLiteral("pixel");
    nodata = 0;
    nodataSet = false;
    layout = QStringLiteral("BIL");
    statMin = -9999;
    statMax = 9999;
}

bool BilHeaderFile::open(QIODevice::OpenMode mode)
{
    if (!QFile::open(mode))
        return false;
    resetFields();
    while (!atEnd())
        insertLine(QString::fromLatin1(readLine().constData()));
    complete();
    guessSampleWidth();
    return validate();
}

void BilHeaderFile::insertLine(const QString& line)
{
    static const QRegularExpression whiteSpace(QStringLiteral("\\s+"));
    const QString trimmed = line.trimmed();
    QStringList parts;
    if (trimmed.contains(QLatin1Char('=')))
        parts = trimmed.split(QLatin1Char('='), Qt::SkipEmptyParts);
    else if (trimmed.contains(QLatin1Char(':')))
        parts = trimmed.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    else
        parts = trimmed.split(whiteSpace, Qt::SkipEmptyParts);
    if (parts.size() >= 2)
        insertEntry(parts.at(0).trimmed(), parts.at(1).trimmed());
}

bool BilHeaderFile::insertEntry(QString key, const QString& value)
{
    key = key.toLower();
    const auto is
        = [&key](std::initializer_list<const char*> keywords) { return startsWithAny(key, keywords); };

    if (is({ "rows", "nrows", "number_of_rows" }))
        rows = value.toInt();
    else if (is({ "cols", "ncols", "columns", "number_of_columns" }))
        cols = value.toInt();
    else if (is({ "bands", "nbands" }))
        bands = value.toInt();
    else if (is({ "nbits" }))
        nbits = value.toInt();
    else if (is({ "datatype", "data type" })) {
        // Value words are case-sensitive: "I16" is not a data type.
        if (value == QLatin1String("i8"))
            nbits = 8;
        else if (value == QLatin1String("i16") || value == QLatin1String("integer"))
            nbits = 16;
        else if (value == QLatin1String("f32") || value == QLatin1String("real"))
            nbits = 32;
        else
            return false;
    } else if (is({ "byte_order", "byteorder" }))
        byteOrder = value;
    else if (is({ "ul_x_coordinate", "min. x", "ulxmap", "left_map_x" }))
        ulX = leadingNumber(value);
    else if (is({ "ul_y_coordinate", "max. y", "ulymap", "upper_map_y" }))
        ulY = leadingNumber(value);
    else if (is({ "lr_x_coordinate", "max. x", "right_map_x" }))
        lrX = value.toDouble();
    else if (is({ "lr_y_coordinate", "min. y", "lower_map_y" }))
        lrY = value.toDouble();
    else if (is({ "xllcorner" }))
        xllCorner = value.toDouble();
    else if (is({ "yllcorner" }))
        yllCorner = value.toDouble();
    else if (is({ "cellsize" }))
        pixelWidth = pixelHeight = value.toDouble();
    else if (is({ "pixel_width", "xdim" }))
        pixelWidth = value.toDouble();
    else if (is({ "pixel_height", "ydim" }))
        pixelHeight = value.toDouble();
    else if (is({ "map_units", "ref. units" }))
        mapUnits = value;
    else if (is({ "layout" }))
        layout = value;
    else if (is({ "nodata" })) {
        nodata = value.toDouble();
        nodataSet = true;
    } else
        return false;
    return true;
}

void BilHeaderFile::complete()
{
    if (ulX == unset) {
        if (xllCorner == unset) {
            readWorldFile();
            readStatisticsFile();
        } else
            ulX = xllCorner;
    }
    if (ulY == unset) {
        if (rows != -1 && yllCorner != unset && pixelHeight != unset)
            ulY = steps(rows) * pixelHeight + yllCorner;
        else
            readWorldFile();
    }
    // Without their inputs these give wrong numbers rather than unset; only
    // the exact marker counts as missing.
    if (pixelWidth == unset)
        pixelWidth = (lrX - ulX) / steps(cols);
    if (pixelHeight == unset)
        pixelHeight = (ulY - lrY) / steps(rows);
}

QString BilHeaderFile::sideFileName(const QString& suffix) const
{
    const QFileInfo header(fileName());
    // Only the last suffix goes: base names carry dots in their coordinates.
    return header.absolutePath() + QLatin1Char('/') + header.completeBaseName() + suffix;
}

bool BilHeaderFile::openSideFile(QFile& file, const QString& suffix) const
{
    for (const QString& name : { sideFileName(suffix.toLower()), sideFileName(suffix.toUpper()) }) {
        file.setFileName(name);
        if (file.open(QIODevice::ReadOnly | QIODevice::Text))
            return true;
    }
    return false;
}

void BilHeaderFile::readWorldFile()
{
    QFile world;
    if (!openSideFile(world, QStringLiteral(".blw")))
        return;
    const auto next = [&world] { return leadingNumber(QString::fromLatin1(world.readLine().constData())); };
    pixelWidth = next();
    next(); // the two rotation terms
    next();
    pixelHeight = std::abs(next());
    ulX = next();
    // The world file gives the centre of the bottom-left pixel.
    ulY = next() + steps(rows) * pixelHeight;
}

void BilHeaderFile::readStatisticsFile()
{
    QFile statistics;
    if (!openSideFile(statistics, QStringLiteral(".stx")))
        return;
    QTextStream in(&statistics);
    // QTextStream writes 0 on a failed read; a value missing at the end keeps
    // what it had.
    const auto read = [&in](int& target) {
        int value = 0;
        in >> value;
        if (in.status() == QTextStream::Ok)
            target = value;
    };
    int band = 0;
    read(band);
    read(statMin);
    read(statMax);
    if (statMin == -32768 || statMin == -9999) {
        nodata = statMin;
        nodataSet = true;
    }
}

void BilHeaderFile::guessSampleWidth()
{
    if (nbits == 8 || nbits == 16 || nbits == 32 || rows == -1 || cols == -1)
        return;
    QFileInfo data(sideFileName(QStringLiteral(".bil")));
    if (!data.exists())
        data.setFile(sideFileName(QStringLiteral(".BIL")));
    if (!data.exists())
        return;
    static const struct {
        int bytes;
        const char* message;
    } guesses[] = {
        { 1, QT_TR_NOOP("BilHeaderFile: guessing 8 bits per pixel from the file size.") },
        { 2, QT_TR_NOOP("BilHeaderFile: guessing 16 bits per pixel from the file size.") },
        { 4, QT_TR_NOOP("BilHeaderFile: guessing 32 bits per pixel from the file size.") },
    };
    // Divided rather than multiplied: the header's product may be anything
    // up to 2^62, beyond what four bytes a sample leave room for.
    const qint64 samples = qint64(rows) * cols;
    for (const auto& guess : guesses) {
        if (data.size() % guess.bytes == 0 && data.size() / guess.bytes == samples) {
            nbits = 8 * guess.bytes;
            MessageLog::append(tr(guess.message));
        }
    }
}

bool BilHeaderFile::validate()
{
    QString problems;
    if (!sizeValid(rows))
        problems += tr("ROWS - Number of rows missing or invalid. Valid: 16 to 32768.\n");
    if (!sizeValid(cols))
        problems += tr("COLS - Number of columns missing or invalid. Valid: 16 to 32768.\n");
    if (bands != 1)
        problems += tr("BANDS - Number of spectral bands missing or invalid. Valid: 1 only.\n");
    if (nbits != 8 && nbits != 16 && nbits != 32)
        problems += tr("Datatype - Number of bits per pixel missing or invalid. Valid: 8, 16, 32.\n");
    if (!coordinateValid(ulX))
        problems += tr(
            "UL_X_COORDINATE - x coordinate of the center of the upper-left pixel missing or invalid.\n");
    if (!coordinateValid(ulY))
        problems += tr(
            "UL_Y_COORDINATE - y coordinate of the center of the upper-left pixel missing or invalid.\n");
    if (!pixelSizeValid(pixelWidth))
        problems
            += tr("PIXEL_WIDTH - missing or invalid. Valid: any non-zero positive floating point number.\n");
    if (!pixelSizeValid(pixelHeight))
        problems
            += tr("PIXEL_HEIGHT - missing or invalid. Valid: any non-zero positive floating point number.\n");
    if (problems.isEmpty())
        return true;
    MessageBoxes::show(MessageBoxes::Critical, nullptr, tr("Error"),
        tr("One or more errors have occured while reading the header file:\n\n") + problems
            + tr("Make sure that the *.BIL, *.HDR and *.BLW files are present."),
        MessageBoxes::Ok);
    return false;
}
