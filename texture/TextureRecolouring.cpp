#include "texture/TextureRecolouring.h"

#include "texture/MarkerColours.h"

#include <QImage>

#include <array>
#include <cstdint>

namespace {

struct Rule {
    // In stretched values.
    std::array<int, 3> centre;
    QRgb colour;
};

// Rules 1 to 15 replace the colour and let the next rules test the
// replacement; the first of rules 16 to 19 that matches ends the pixel.
constexpr std::array<Rule, 19> rules { {
    { { 227, 221, 209 }, MarkerColours::white },
    { { 11, 129, 1 }, MarkerColours::green },
    { { 25, 137, 1 }, MarkerColours::green },
    { { 37, 121, 1 }, MarkerColours::green },
    { { 69, 179, 29 }, MarkerColours::green },
    { { 75, 153, 49 }, MarkerColours::green },
    { { 75, 203, 49 }, MarkerColours::green },
    { { 85, 189, 43 }, MarkerColours::green },
    { { 89, 221, 97 }, MarkerColours::green },
    { { 89, 237, 89 }, MarkerColours::green },
    { { 91, 161, 65 }, MarkerColours::green },
    { { 107, 231, 105 }, MarkerColours::green },
    { { 137, 225, 129 }, MarkerColours::green },
    { { 155, 237, 147 }, MarkerColours::green },
    { { 203, 209, 167 }, MarkerColours::white },
    { { 203, 209, 187 }, MarkerColours::white },
    { { 237, 163, 157 }, MarkerColours::lightPink },
    { { 243, 129, 125 }, MarkerColours::pink },
    { { 245, 109, 107 }, MarkerColours::pink },
} };
constexpr std::size_t replacementRules = 15;

// Squared distances below this match.
constexpr int matchLimit = 28;

bool matches(const std::array<int, 3>& colour, const Rule& rule)
{
    int distance = 0;
    for (std::size_t c = 0; c < 3; ++c)
        distance += (colour[c] - rule.centre[c]) * (colour[c] - rule.centre[c]);
    return distance < matchLimit;
}

constexpr int stretched(int channel) { return channel < 128 ? 0 : (channel - 128) * 2; }

void transform(uchar* pixel)
{
    std::array<int, 3> colour { stretched(pixel[0]), stretched(pixel[1]), stretched(pixel[2]) };
    for (std::size_t i = 0; i < rules.size(); ++i) {
        if (!matches(colour, rules[i]))
            continue;
        colour = { qRed(rules[i].colour), qGreen(rules[i].colour), qBlue(rules[i].colour) };
        if (i >= replacementRules)
            break;
    }
    for (std::size_t c = 0; c < 3; ++c)
        pixel[c] = uchar(colour[c]);
}

// Most map colours match no rule, and a colour that matches none is only
// stretched: only a replaced colour can meet a rule the original did not.
// A match needs every channel near the centre, so per channel and raw
// value a mask of the rules within reach rules out almost every pixel with
// two ANDs and three look-ups.
struct Reach {
    std::array<std::array<std::uint32_t, 256>, 3> rulesNear {};
    std::array<uchar, 256> stretch {};

    Reach()
    {
        for (int value = 0; value < 256; ++value) {
            const int s = stretched(value);
            stretch[value] = uchar(s);
            for (std::size_t c = 0; c < 3; ++c) {
                for (std::size_t i = 0; i < rules.size(); ++i) {
                    const int d = s - rules[i].centre[c];
                    if (d * d < matchLimit)
                        rulesNear[c][value] |= 1u << i;
                }
            }
        }
    }
};

} // namespace

void TextureRecolouring::recolourRow(QImage& image, int y)
{
    static const Reach reach;
    // Maps paint large areas in one colour: a pixel like the one before it
    // takes that one's result. Black stays black, so the two start as a pair.
    std::array<uchar, 3> last { 0, 0, 0 };
    std::array<uchar, 3> lastResult { 0, 0, 0 };
    uchar* pixel = image.scanLine(y);
    for (const uchar* end = pixel + qsizetype(image.width()) * 3; pixel != end; pixel += 3) {
        if (pixel[0] != last[0] || pixel[1] != last[1] || pixel[2] != last[2]) {
            last = { pixel[0], pixel[1], pixel[2] };
            if (reach.rulesNear[0][pixel[0]] & reach.rulesNear[1][pixel[1]] & reach.rulesNear[2][pixel[2]]) {
                transform(pixel);
            } else {
                pixel[0] = reach.stretch[pixel[0]];
                pixel[1] = reach.stretch[pixel[1]];
                pixel[2] = reach.stretch[pixel[2]];
            }
            lastResult = { pixel[0], pixel[1], pixel[2] };
        } else {
            pixel[0] = lastResult[0];
            pixel[1] = lastResult[1];
            pixel[2] = lastResult[2];
        }
    }
}
