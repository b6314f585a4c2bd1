#pragma once

#include <cmath>

// The generated terrain both benchmarks fill and import: smooth hills and
// valleys between about -200 m and 3000 m, in metres.
inline double terrainMetres(int column, int row)
{
    return 1400.0 + 900.0 * std::sin(column * 0.0031) * std::cos(row * 0.0047)
        + 500.0 * std::sin((column + 2 * row) * 0.011) + 150.0 * std::cos((3 * column - row) * 0.037);
}
