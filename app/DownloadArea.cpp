#include "DownloadArea.h"

#include "SettingsStore.h"

#include <array>

namespace {

struct Size {
    double width;
    double height;
};

// In the order of SettingsStore::downloadAreas().
constexpr std::array<Size, 4> sizes { { { 2.0, 1.0 }, { 1.0, 0.5 }, { 0.5, 0.25 }, { 0.25, 0.125 } } };

// Only the start of the text counts, so a stored text with something
// appended still names its area.
Size sizeOf(const QString& area)
{
    const QStringList& texts = SettingsStore::downloadAreas();
    Size size { 0.0, 0.0 };
    for (qsizetype i = 0; i < texts.size(); ++i) {
        if (area.startsWith(texts.at(i)))
            size = sizes.at(i);
    }
    return size;
}

} // namespace

double DownloadArea::width(const QString& area) { return sizeOf(area).width; }

double DownloadArea::height(const QString& area) { return sizeOf(area).height; }
