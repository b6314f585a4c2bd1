#include "TerrainPatch.h"

#include "StableHash.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

namespace {

using StableHash::mix;
using StableHash::unit;

constexpr int octaves = 8;
constexpr int wavesPerOctave = 3;
constexpr int waveCount = octaves * wavesPerOctave;
constexpr double voidCellDegrees = 0.05;
constexpr double voidChance = 0.25;
constexpr double smallestVoidSeconds = 0.6;
constexpr double largestVoidSeconds = 40.0;
constexpr float floatResolution = 32;

struct Wave {
    double amplitude;
    double latitudeFrequency;
    double longitudeFrequency;
    double phase;
};

// Eight octaves of wavelengths from 2° down to about 500 m, three
// directions each so no single stripe dominates; amplitudes fall a little
// slower than the wavelength, which gives broad ranges with rough relief.
std::array<Wave, waveCount> makeWaves()
{
    std::array<Wave, waveCount> waves {};
    double power = 0;
    std::uint64_t seed = 0x52454C4B41ull;
    for (int k = 0; k < waveCount; ++k) {
        const double wavelength
            = 2.0 * std::pow(0.42, k / wavesPerOctave) * (0.8 + 0.4 * unit(seed = mix(seed)));
        const double direction
            = (k % wavesPerOctave + unit(seed = mix(seed)) * 0.5) * std::numbers::pi / wavesPerOctave;
        const double frequency = 2 * std::numbers::pi / wavelength;
        waves[k] = { std::pow(wavelength, 0.8), frequency * std::cos(direction),
            frequency * std::sin(direction), unit(seed = mix(seed)) * 2 * std::numbers::pi };
        power += waves[k].amplitude * waves[k].amplitude / 2;
    }
    for (Wave& wave : waves)
        wave.amplitude /= std::sqrt(power);
    return waves;
}

const std::array<Wave, waveCount>& waves()
{
    static const std::array<Wave, waveCount> table = makeWaves();
    return table;
}

float elevationFromWaveSum(double sum)
{
    return float(std::max(0.0, 1900.0 + 2300.0 * std::tanh(0.55 * sum)));
}

}

TerrainPatch::TerrainPatch(const RasterGrid& grid, bool quantised)
    : grid(grid)
    , quantised(quantised)
    , columnSines(std::size_t(grid.columns) * waveCount)
    , columnCosines(std::size_t(grid.columns) * waveCount)
{
    for (int c = 0; c < grid.columns; ++c) {
        const double longitude = grid.longitude(c);
        for (int k = 0; k < waveCount; ++k) {
            const double angle = waves()[k].longitudeFrequency * longitude;
            columnSines[std::size_t(c) * waveCount + k] = std::sin(angle);
            columnCosines[std::size_t(c) * waveCount + k] = std::cos(angle);
        }
    }
    collectVoids();
}

void TerrainPatch::collectVoids()
{
    const double margin = largestVoidSeconds / 3600;
    const double north = grid.latitude(0) + margin;
    const double south = grid.latitude(grid.rows - 1) - margin;
    const double west = grid.longitude(0) - margin;
    const double east = grid.longitude(grid.columns - 1) + margin;
    for (auto i = qint64(std::floor(south / voidCellDegrees));
         i <= qint64(std::floor(north / voidCellDegrees)); ++i) {
        for (auto j = qint64(std::floor(west / voidCellDegrees));
             j <= qint64(std::floor(east / voidCellDegrees)); ++j) {
            std::uint64_t bits = mix(mix(std::uint64_t(i)) ^ std::uint64_t(j));
            if (unit(bits) >= voidChance)
                continue;
            const double latitude = (double(i) + unit(bits = mix(bits))) * voidCellDegrees;
            const double longitude = (double(j) + unit(bits = mix(bits))) * voidCellDegrees;
            const double seconds = smallestVoidSeconds
                * std::pow(largestVoidSeconds / smallestVoidSeconds, unit(bits = mix(bits)));
            voids.push_back({ latitude, longitude, seconds / 3600 });
        }
    }
}

QString TerrainPatch::origin() const
{
    return QStringLiteral("Simulated data for testing; not a survey product.");
}

void TerrainPatch::fillRow(int row, float* out) const
{
    const double latitude = grid.latitude(row);
    std::array<double, waveCount> rowSines;
    std::array<double, waveCount> rowCosines;
    for (int k = 0; k < waveCount; ++k) {
        const Wave& wave = waves()[k];
        const double angle = wave.latitudeFrequency * latitude + wave.phase;
        rowSines[k] = wave.amplitude * std::sin(angle);
        rowCosines[k] = wave.amplitude * std::cos(angle);
    }
    // sin(a + b) = sin a cos b + cos a sin b, with a from the row, b from the column.
    for (int c = 0; c < grid.columns; ++c) {
        const double* sines = &columnSines[std::size_t(c) * waveCount];
        const double* cosines = &columnCosines[std::size_t(c) * waveCount];
        double sum = 0;
        for (int k = 0; k < waveCount; ++k)
            sum += rowSines[k] * cosines[k] + rowCosines[k] * sines[k];
        out[c] = elevationFromWaveSum(sum);
        if (quantised)
            out[c] = std::round(out[c] * floatResolution) / floatResolution;
    }
    for (const Void& hole : voids) {
        const double offset = latitude - hole.latitude;
        if (std::abs(offset) > hole.radius)
            continue;
        const double halfWidth = std::sqrt(hole.radius * hole.radius - offset * offset);
        const double first
            = std::ceil((hole.longitude - halfWidth) * grid.samplesPerDegree) - double(grid.leftColumn);
        const double last
            = std::floor((hole.longitude + halfWidth) * grid.samplesPerDegree) - double(grid.leftColumn);
        for (auto c = qint64(std::max(first, 0.0)); c <= qint64(std::min(last, double(grid.columns - 1)));
             ++c)
            out[c] = std::numeric_limits<float>::quiet_NaN();
    }
}
