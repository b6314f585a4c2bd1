#include "run/RegionPlan.h"

#include "app/DownloadArea.h"

#include <cmath>

namespace {

// Whole rectangles that cover length; a sliver below a millionth of a
// degree is rounding, not land.
int countCovering(double length, double size) { return int(std::ceil(length / size - 1e-6)); }

QString degrees(double value) { return QString::number(value, 'g', 12); }

} // namespace

QStringList RegionPlan::lines(const DownloadRun::Rectangle& region, const QString& areaText)
{
    const double width = DownloadArea::width(areaText);
    const double height = DownloadArea::height(areaText);
    const int rows = countCovering(region.north - region.south, height);
    const int columns = countCovering(region.east - region.west, width);
    QStringList plan;
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column)
            plan.append(QStringLiteral("--north %1 --west %2 --area %3")
                            .arg(degrees(region.north - row * height), degrees(region.west + column * width),
                                degrees(width)));
    }
    return plan;
}
