#include "PngRowFilter.h"

#include <cstring>

namespace {

enum FilterType : uchar { None, Sub, Up, Average, Paeth };

// The magnitude of a filtered byte read as a signed number.
inline unsigned magnitude(uchar v) { return v < 128 ? v : 256u - v; }

// One predicting filter over a row, written to out; returns the sum of
// the output's magnitudes. The first Bpp bytes have no left neighbours
// (they count as 0); splitting them off leaves a branch-free loop, and Bpp
// as a constant and the restrict pointers let the compiler vectorise it.
template <int Bpp, typename Predict>
[[gnu::always_inline]] inline unsigned filterRow(const uchar* __restrict raw, const uchar* __restrict prior,
    qsizetype n, uchar* __restrict out, Predict predict)
{
    unsigned sum = 0;
    for (qsizetype i = 0; i < Bpp && i < n; ++i) {
        out[i] = static_cast<uchar>(raw[i] - predict(0, prior[i], 0));
        sum += magnitude(out[i]);
    }
    for (qsizetype i = Bpp; i < n; ++i) {
        out[i] = static_cast<uchar>(raw[i] - predict(raw[i - Bpp], prior[i], prior[i - Bpp]));
        sum += magnitude(out[i]);
    }
    return sum;
}

// Sub, Up, Average and Paeth one after the other into out, their sums into sums.
template <int Bpp>
[[gnu::always_inline]] inline void predictRow(
    const uchar* raw, const uchar* prior, qsizetype n, uchar* out, unsigned* sums)
{
    sums[0] = filterRow<Bpp>(raw, prior, n, out, [](int a, int, int) { return a; });
    sums[1] = filterRow<Bpp>(raw, prior, n, out + n, [](int, int b, int) { return b; });
    sums[2] = filterRow<Bpp>(raw, prior, n, out + 2 * n, [](int a, int b, int) { return (a + b) / 2; });
    sums[3] = filterRow<Bpp>(raw, prior, n, out + 3 * n, PngRowFilter::paethPredictor);
}

// Wider vectors where the processor has them.
#if defined(__GNUC__) && defined(__x86_64__)
#define WIDER_VECTORS __attribute__((target_clones("avx2", "default")))
#else
#define WIDER_VECTORS
#endif

WIDER_VECTORS void predict(
    int bytesPerPixel, const uchar* raw, const uchar* prior, qsizetype n, uchar* out, unsigned* sums)
{
    switch (bytesPerPixel) {
    case 1:
        predictRow<1>(raw, prior, n, out, sums);
        break;
    case 2:
        predictRow<2>(raw, prior, n, out, sums);
        break;
    case 3:
        predictRow<3>(raw, prior, n, out, sums);
        break;
    default:
        predictRow<4>(raw, prior, n, out, sums);
        break;
    }
}

WIDER_VECTORS unsigned magnitudeSum(const uchar* raw, qsizetype n)
{
    unsigned sum = 0;
    for (qsizetype i = 0; i < n; ++i)
        sum += magnitude(raw[i]);
    return sum;
}

WIDER_VECTORS void subtract(
    const uchar* __restrict raw, const uchar* __restrict prior, qsizetype n, uchar* out)
{
    for (qsizetype i = 0; i < n; ++i)
        out[i] = static_cast<uchar>(raw[i] - prior[i]);
}

} // namespace

PngRowFilter::PngRowFilter(int bytesPerPixel, qsizetype rowBytes, Rule rule)
    : bytesPerPixel(bytesPerPixel)
    , rowBytes(rowBytes)
    , rule(rule)
    , zeros(rowBytes)
    , candidates(rule == Rule::MinimumSum ? 4 * rowBytes : 0)
{
}

void PngRowFilter::filter(const uchar* row, const uchar* previous, uchar* out)
{
    switch (rule) {
    case Rule::MinimumSum:
        filterByMinimumSum(row, previous, out);
        break;
    case Rule::None:
        out[0] = None;
        std::memcpy(out + 1, row, rowBytes);
        break;
    case Rule::Up:
        out[0] = Up;
        subtract(row, previous ? previous : zeros.data(), rowBytes, out + 1);
        break;
    }
}

void PngRowFilter::filterByMinimumSum(const uchar* row, const uchar* previous, uchar* out)
{
    // A row equal to the one above, common in masks: Up makes it zeros, a
    // sum that only None matches, and only for a row of zeros.
    if (previous && std::memcmp(row, previous, rowBytes) == 0) {
        out[0] = std::memcmp(row, zeros.data(), rowBytes) == 0 ? None : Up;
        std::memset(out + 1, 0, rowBytes);
        return;
    }
    unsigned sums[4];
    predict(bytesPerPixel, row, previous ? previous : zeros.data(), rowBytes, candidates.data(), sums);
    uchar best = None;
    unsigned bestSum = magnitudeSum(row, rowBytes);
    for (uchar f = Sub; f <= Paeth; ++f) {
        if (sums[f - Sub] < bestSum) {
            best = f;
            bestSum = sums[f - Sub];
        }
    }
    out[0] = best;
    std::memcpy(out + 1, best == None ? row : candidates.data() + (best - Sub) * rowBytes, rowBytes);
}
