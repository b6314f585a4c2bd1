#pragma once

class QImage;

// Re-colours the stitched map so that the merge can recognise its areas:
// each channel is stretched (max(0, c - 128) × 2), then fifteen replacement
// rules run in order, each testing the colour the previous ones left; the
// first of four final rules that matches sets the pixel. A rule matches a
// colour whose squared distance from its centre is below 28.
class TextureRecolouring {
public:
    // Transforms row y of image in place; image must be RGB888.
    static void recolourRow(QImage& image, int y);
};
