#include "WorldFile.h"

#include "output/GridGeometry.h"

#include <QLocale>
#include <QString>

WorldFile WorldFile::of(const GridGeometry& geometry)
{
    return { geometry.pixelWidth, geometry.pixelHeight, geometry.firstX, geometry.firstY };
}

QByteArray WorldFile::text() const
{
    QByteArray lines;
    // The shortest text that gives every double back exactly.
    for (const double value : { pixelWidth, 0.0, 0.0, -pixelHeight, centreX, centreY })
        lines += QString::number(value, 'g', QLocale::FloatingPointShortest).toLatin1() + '\n';
    return lines;
}
