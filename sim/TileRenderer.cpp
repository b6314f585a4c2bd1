#include "TileRenderer.h"

#include "StableHash.h"

#include <QPainter>

#include <cstdint>
#include <iterator>

namespace {

using StableHash::mix;
using StableHash::unit;

constexpr int blockSize = 64;
constexpr int margin = 8;

std::uint64_t hash(int zoom, qint64 a, qint64 b, int salt)
{
    return mix(
        mix(mix(std::uint64_t(zoom) * 131 + std::uint64_t(salt)) ^ std::uint64_t(a)) ^ std::uint64_t(b));
}

// The texture step stretches each channel to (c - 128) * 2 before it
// compares colours; these are tile colours that land on its reference
// tones after that stretch.
QColor fromStretched(int r, int g, int b)
{
    return QColor(128 + (r + 1) / 2, 128 + (g + 1) / 2, 128 + (b + 1) / 2);
}

const QColor background = fromStretched(227, 221, 209);
const QColor lightAreas[] = { fromStretched(203, 209, 167), fromStretched(203, 209, 187) };
const QColor greens[] = { fromStretched(11, 129, 1), fromStretched(25, 137, 1), fromStretched(37, 121, 1),
    fromStretched(69, 179, 29), fromStretched(75, 153, 49), fromStretched(75, 203, 49),
    fromStretched(85, 189, 43), fromStretched(89, 221, 97), fromStretched(89, 237, 89),
    fromStretched(91, 161, 65), fromStretched(107, 231, 105), fromStretched(137, 225, 129),
    fromStretched(155, 237, 147) };
const QColor residential = fromStretched(237, 163, 157);
const QColor water(170, 211, 223);
const QColor building(217, 208, 201);

struct RoadClass {
    QColor colour;
    int width;
};

const RoadClass roads[] = {
    { QColor(255, 255, 255), 4 }, // minor road, left as it is
    { QColor(247, 250, 191), 6 }, // secondary road, left as it is
    { fromStretched(243, 129, 125), 6 }, // primary road
    { fromStretched(245, 109, 107), 8 }, // major road
};

void drawArea(QPainter& painter, int zoom, qint64 bx, qint64 by)
{
    std::uint64_t bits = hash(zoom, bx, by, 1);
    const double use = unit(bits);
    if (use < 0.3)
        return;
    const int left = int(bx * blockSize) + 3 + int(unit(bits = mix(bits)) * 8);
    const int top = int(by * blockSize) + 3 + int(unit(bits = mix(bits)) * 8);
    const int right = int((bx + 1) * blockSize) - 3 - int(unit(bits = mix(bits)) * 8);
    const int bottom = int((by + 1) * blockSize) - 3 - int(unit(bits = mix(bits)) * 8);
    const int cut = int(unit(bits = mix(bits)) * 20);
    const QPolygon outline({ QPoint(left + cut, top), QPoint(right, top), QPoint(right, bottom),
        QPoint(left, bottom), QPoint(left, top + cut) });
    QColor colour;
    if (use < 0.58)
        colour = greens[mix(bits) % std::size(greens)];
    else if (use < 0.74)
        colour = residential;
    else if (use < 0.86)
        colour = lightAreas[mix(bits) % std::size(lightAreas)];
    else
        colour = water;
    painter.setBrush(colour);
    painter.drawPolygon(outline);
    if (colour != residential)
        return;
    painter.setBrush(building);
    for (int i = 0; i < 4; ++i) {
        const int x = left + 4 + int(unit(bits = mix(bits)) * (right - left - 16));
        const int y = top + 4 + int(unit(bits = mix(bits)) * (bottom - top - 16));
        const int width = 4 + int(unit(bits = mix(bits)) * 6);
        painter.drawRect(x, y, width, 4 + int(unit(bits = mix(bits)) * 6));
    }
}

// Roads follow the block edges; each edge line has one road class for its
// whole length, with a few gaps.
void drawRoads(QPainter& painter, int zoom, qint64 bx, qint64 by)
{
    for (int vertical = 0; vertical < 2; ++vertical) {
        const qint64 line = vertical ? bx : by;
        const double kind = unit(hash(zoom, line, vertical, 2));
        if (kind < 0.35 || unit(hash(zoom, bx, by, 3 + vertical)) < 0.1)
            continue;
        const RoadClass& road
            = roads[std::min<std::size_t>(std::size(roads) - 1, std::size_t((kind - 0.35) / 0.65 * 4))];
        const int half = road.width / 2;
        const QRect rect = vertical ? QRect(int(bx * blockSize) - half, int(by * blockSize) - half,
                               road.width, blockSize + road.width)
                                    : QRect(int(bx * blockSize) - half, int(by * blockSize) - half,
                                        blockSize + road.width, road.width);
        painter.fillRect(rect, road.colour);
    }
}

}

QImage TileRenderer::render(int zoom, int x, int y)
{
    QImage tile(tileSize, tileSize, QImage::Format_RGB32);
    tile.fill(background);
    QPainter painter(&tile);
    painter.setPen(Qt::NoPen);
    // World pixels of this zoom level; at zoom 19 they still fit an int.
    painter.translate(-x * tileSize, -y * tileSize);
    const qint64 firstX = (qint64(x) * tileSize - margin) / blockSize - 1;
    const qint64 lastX = (qint64(x + 1) * tileSize + margin) / blockSize;
    const qint64 firstY = (qint64(y) * tileSize - margin) / blockSize - 1;
    const qint64 lastY = (qint64(y + 1) * tileSize + margin) / blockSize;
    for (qint64 by = firstY; by <= lastY; ++by) {
        for (qint64 bx = firstX; bx <= lastX; ++bx)
            drawArea(painter, zoom, bx, by);
    }
    for (qint64 by = firstY; by <= lastY; ++by) {
        for (qint64 bx = firstX; bx <= lastX; ++bx)
            drawRoads(painter, zoom, bx, by);
    }
    return tile;
}
