#pragma once

#include <memory>

// The colours of the colour-coded elevation file: one row of a built-in
// palette picture, chosen by the "paletteNumber" setting. Index 0 belongs to
// the lowest elevation, the last index to the highest.
class Palette {
public:
    Palette();

    // ARGB with alpha 255; index must lie in 0 ... size() - 1 (unchecked).
    unsigned int color(int index) const { return colors[index]; }
    int size() const { return colorCount; }

    // The palette index of a stored elevation value when minimum and maximum
    // (in the same units) span count colours evenly: truncated toward zero,
    // then clamped to 0 ... count - 1. Equal bounds map everything to 0.
    static int indexFor(double value, double minimum, double maximum, int count);

private:
    std::unique_ptr<unsigned int[]> colors;
    int colorCount = 0;
};
