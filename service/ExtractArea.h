#pragma once

#include <QString>

#include <optional>

// The rectangle of one extract request, in decimal degrees, as the client
// wrote it after "AL=": north, south, east and west, comma-separated.
struct ExtractArea {
    double north = 0;
    double south = 0;
    double east = 0;
    double west = 0;
    // The four numbers as received, without blanks around them; they go
    // back into the form and the archive address, so the conversation
    // repeats the client's own text.
    QString text;

    // Refuses anything but four numbers that make a non-empty rectangle
    // on the globe.
    static std::optional<ExtractArea> fromText(const QString& text);
};

// The sample grid that covers an area at one resolution. Rows and columns
// are global indices (latitude or longitude times samples per degree), so
// neighbouring areas meet on identical sample positions. A point grid has
// its samples on the grid lines; a cell grid has them at the centres of
// the cells between the lines, and its indices name the cells' north and
// west edges.
struct RasterGrid {
    qint64 topRow = 0;
    qint64 leftColumn = 0;
    int rows = 0;
    int columns = 0;
    int samplesPerDegree = 1;
    bool cellCentred = false;

    // One row and one column more than the area has steps: the samples lie
    // on the rectangle's edges, not inside them.
    static RasterGrid covering(const ExtractArea& area, int samplesPerDegree);
    // Every cell that overlaps the area, so the cells' outer edges lie on
    // or less than a step beyond the rectangle's.
    static RasterGrid cellsCovering(const ExtractArea& area, int samplesPerDegree);

    double step() const { return 1.0 / samplesPerDegree; }
    double latitude(int row) const { return (double(topRow - row) - centring()) / samplesPerDegree; }
    double longitude(int column) const
    {
        return (double(leftColumn + column) + centring()) / samplesPerDegree;
    }
    qint64 samples() const { return qint64(rows) * columns; }

private:
    double centring() const { return cellCentred ? 0.5 : 0; }
};
