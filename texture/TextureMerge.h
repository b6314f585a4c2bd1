#pragma once

#include <QImage>

// Lays the elevation colours under the post-processed map texture: under a
// tint colour the two multiply, under white the elevation colour shows as
// it is (alpha included), anywhere else the map stays.
class TextureMerge {
public:
    // Stretches the elevation colours to the texture's size, smoothly and
    // without keeping their proportions. Both images must be loaded.
    TextureMerge(const QImage& elevationColours, const QImage& texture);

    int height() const { return merged.height(); }
    // Merges row y; rows are independent of each other.
    void mergeRow(int y);
    // The merged image, of the texture's size; rows not merged yet hold the
    // stretched elevation colours.
    const QImage& result() const { return merged; }

private:
    QImage texture;
    QImage merged;
};
