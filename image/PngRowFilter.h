#pragma once

#include <QtGlobal>

#include <cstdlib>
#include <vector>

// Filters the rows of a PNG image before compression. By default each row
// gets the filter type (None, Sub, Up, Average or Paeth) whose output bytes,
// read as signed numbers, have the smallest sum of magnitudes, the heuristic
// common PNG writers use; the first of equal sums wins, in the order of the
// types.
// Every filter is computed over the whole row from the raw bytes alone, so
// the loops need no carried state and the compiler vectorises them.
class PngRowFilter {
public:
    // The heuristic above, or one filter type for every row.
    enum class Rule { MinimumSum, None, Up };

    // bytesPerPixel is 1 to 4; a row has rowBytes bytes.
    PngRowFilter(int bytesPerPixel, qsizetype rowBytes, Rule rule = Rule::MinimumSum);

    // Writes the filter type byte and the filtered row, rowBytes + 1 bytes,
    // to out. previous is the raw row above, or null for the first row.
    void filter(const uchar* row, const uchar* previous, uchar* out);

    // The Paeth filter's choice among the left, upper and upper-left
    // neighbours, as encoding and decoding both need it. Written without
    // branches: which neighbour wins follows no pattern a processor could
    // predict.
    static int paethPredictor(int a, int b, int c)
    {
        const int pa = std::abs(b - c);
        const int pb = std::abs(a - c);
        const int pc = std::abs(a + b - 2 * c);
        const int bOrC = pb <= pc ? b : c;
        return pa <= pb && pa <= pc ? a : bOrC;
    }

private:
    void filterByMinimumSum(const uchar* row, const uchar* previous, uchar* out);

    int bytesPerPixel;
    qsizetype rowBytes;
    Rule rule;
    std::vector<uchar> zeros;
    // Sub, Up, Average and Paeth output one after the other.
    std::vector<uchar> candidates;
};
