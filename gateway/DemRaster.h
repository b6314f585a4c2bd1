#pragma once

#include <QString>

#include <cmath>
#include <optional>
#include <vector>

// A rectangle in degrees; north and east are the larger values.
struct GeoBounds {
    double north = 0;
    double south = 0;
    double east = 0;
    double west = 0;
};

// Part of one DEM tile in memory: a grid of cells with their elevations in
// metres, NaN for voids. The cell (0, 0) has its north-west corner at
// (north, west); a position belongs to the cell it falls in.
struct DemRaster {
    double north = 0;
    double west = 0;
    double cellHeight = 1;
    double cellWidth = 1;
    int rows = 0;
    int columns = 0;
    std::vector<float> samples;

    // The row or column a position falls in; -1 outside. A position on a
    // cell border counts to the cell south or east of it, within a
    // millionth of a cell, so rounding errors do not pick the neighbour.
    int rowOf(double latitude) const { return index((north - latitude) / cellHeight, rows); }
    int columnOf(double longitude) const { return index((longitude - west) / cellWidth, columns); }
    float at(int row, int column) const
    {
        return samples[std::size_t(row) * std::size_t(columns) + std::size_t(column)];
    }

    // The rows and columns of a full tile (whole grid given by its origin
    // and cell size) that cover the bounds, plus one cell around them.
    struct Window {
        int firstRow = 0;
        int firstColumn = 0;
        int rows = 0;
        int columns = 0;
    };
    static std::optional<Window> window(double north, double west, double cellHeight, double cellWidth,
        int rows, int columns, const GeoBounds& bounds);

private:
    static int index(double position, int count)
    {
        const double cell = std::floor(position + 1e-6);
        return cell >= 0 && cell < count ? int(cell) : -1;
    }
};
