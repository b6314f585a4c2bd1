#pragma once

#include <QRgb>

// The colours the texture's post-processing paints map areas in, and that
// the merge looks for to let the elevation colours show through.
struct MarkerColours {
    static constexpr QRgb white = 0xFFFFFFFF;
    // Vegetation greens.
    static constexpr QRgb green = 0xFFDCFFC8;
    // Two groups of reddish tones.
    static constexpr QRgb lightPink = 0xFFFFE6E6;
    static constexpr QRgb pink = 0xFFE6C8C8;
};
