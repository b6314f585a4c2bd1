#include "Palette.h"

#include "app/SettingsStore.h"

#include <QImage>
#include <QString>

Palette::Palette()
{
    const QImage picture(SettingsStore::paletteNumber() == 2 ? QStringLiteral(":/Palette/palette2.png")
                                                             : QStringLiteral(":/Palette/palette1.png"));
    colorCount = picture.width();
    colors = std::make_unique<unsigned int[]>(colorCount);
    for (int x = 0; x < colorCount; ++x)
        colors[x] = picture.pixel(x, 0);
}

int Palette::indexFor(double value, double minimum, double maximum, int count)
{
    if (maximum == minimum)
        return 0;
    const double t = count * (value - minimum) / (maximum - minimum);
    // Clamping before the conversion keeps it defined for far-off values and
    // NaN; -1 < t < 0 would truncate to 0 anyway.
    if (t >= count)
        return count - 1;
    if (!(t >= 0))
        return 0;
    return static_cast<int>(t);
}
