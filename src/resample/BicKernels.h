// How the bicubic weight table is made. Each row holds the weights of the four source pixels
// at offsets -1, 0, +1, +2 for a fractional position t = phase / 64, scaled to sum to 1024.
// Only phases 0-32 are computed; phase 64 - p is phase p mirrored, so the curves are exactly
// symmetric.
//
// Sub-tables 0 and 1 sample the cubic convolution kernel
//     W(x) = (a + 2)|x|^3 - (a + 3)|x|^2 + 1        for |x| <= 1
//     W(x) = a|x|^3 - 5a|x|^2 + 8a|x| - 4a          for 1 < |x| < 2
// with a = -0.2 (soft) and a = -0.5 (the classic choice). Each weight is rounded to the nearest
// integer; when the four rounded values miss 1024, the weights rounded furthest the wrong way
// move by one until the row sums to 1024.
//
// Sub-table 2 sharpens hard. It starts from linear interpolation between two extrapolated
// samples, each pushed 60% further away from its outer neighbour:
//     (-0.6(1 - t), 1.6(1 - t), 1.6t, -0.6t)
// which overshoots at every edge but is not the identity at t = 0. A taper g(u), falling from
// 0.6 at u = 0 to 0 at u = 5/8, hands the weight back near the sample positions:
//     w0 = -0.6(1 - t) + g(t),  w1 = 1.6(1 - t) - g(t),  w2 = 1.6t - g(1 - t),  w3 = -0.6t + g(1 -
//     t)
// so the row is (0, 1, 0, 0) at t = 0 and sums to 1 everywhere. g is a monotone cubic through
// the knots below (eighths of a pixel, in 1/1024 units), leaving u = 0 with the slope -1.6
// that makes the row start out like the extrapolated line, and arriving flat at 5/8.
//
// Only set-up code uses this (and the tests, to regenerate BicTable and compare); the engines
// read the integer table.
#ifndef VANDREL_RESAMPLE_BICKERNELS_H
#define VANDREL_RESAMPLE_BICKERNELS_H

#include <cmath>
#include <cstdint>

namespace vxresample {

constexpr int kBicPhases = 64;
constexpr int kBicSubTables = 3;
constexpr double kSoftCubicA = -0.2;
constexpr double kMediumCubicA = -0.5;

inline double CubicConvolution(double x, double a) {
    x = std::fabs(x);
    if (x <= 1.0) return ((a + 2.0) * x - (a + 3.0)) * x * x + 1.0;
    if (x < 2.0) return ((a * x - 5.0 * a) * x + 8.0 * a) * x - 4.0 * a;
    return 0.0;
}

// The sharpening taper g(u) of sub-table 2, in 1/1024 units.
inline double SharpTaper(double u) {
    constexpr int kKnots = 6;
    constexpr double kStep = 0.125;
    constexpr double kValue[kKnots] = {614.4, 417.6, 243.8, 108.0, 23.2, 0.0};
    if (u <= 0.0) return kValue[0];
    if (u >= kStep * (kKnots - 1)) return 0.0;
    // Monotone (Fritsch-Carlson) slopes: harmonic means of the neighbouring secants inside,
    // the extrapolated line's slope at the start, flat at the end.
    double slope[kKnots];
    slope[0] = -1.6 * 1024.0;
    slope[kKnots - 1] = 0.0;
    for (int k = 1; k < kKnots - 1; ++k) {
        const double left = (kValue[k] - kValue[k - 1]) / kStep;
        const double right = (kValue[k + 1] - kValue[k]) / kStep;
        slope[k] = 2.0 / (1.0 / left + 1.0 / right);
    }
    const int k = int(u / kStep);
    const double s = (u - k * kStep) / kStep;
    const double h00 = (2.0 * s - 3.0) * s * s + 1.0;
    const double h10 = ((s - 2.0) * s + 1.0) * s;
    const double h01 = (3.0 - 2.0 * s) * s * s;
    const double h11 = (s - 1.0) * s * s;
    return h00 * kValue[k] + h10 * kStep * slope[k] + h01 * kValue[k + 1] +
           h11 * kStep * slope[k + 1];
}

// Exact (unrounded) weights of one phase, in 1/1024 units.
inline void ExactBicWeights(int subTable, int phase, double weights[4]) {
    const double t = double(phase) / kBicPhases;
    if (subTable < 2) {
        const double a = subTable == 0 ? kSoftCubicA : kMediumCubicA;
        const double distance[4] = {1.0 + t, t, 1.0 - t, 2.0 - t};
        for (int i = 0; i < 4; ++i)
            weights[i] = 1024.0 * CubicConvolution(distance[i], a);
        return;
    }
    const double near = SharpTaper(t);
    const double far = SharpTaper(1.0 - t);
    weights[0] = -0.6 * (1.0 - t) * 1024.0 + near;
    weights[1] = 1.6 * (1.0 - t) * 1024.0 - near;
    weights[2] = 1.6 * t * 1024.0 - far;
    weights[3] = -0.6 * t * 1024.0 + far;
}

// Rounds to integers that sum to exactly 1024, moving the worst-rounded entries by one.
inline void RoundToUnitSum(const double exact[4], int16_t row[4]) {
    double error[4];
    int sum = 0;
    for (int i = 0; i < 4; ++i) {
        row[i] = int16_t(std::lround(exact[i]));
        error[i] = exact[i] - row[i];
        sum += row[i];
    }
    while (sum != 1024) {
        const int direction = sum < 1024 ? 1 : -1;
        int pick = 0;
        for (int i = 1; i < 4; ++i)
            if (error[i] * direction > error[pick] * direction) pick = i;
        row[pick] = int16_t(row[pick] + direction);
        error[pick] -= direction;
        sum += direction;
    }
}

// Fills all 192 rows.
inline void GenerateBicTable(int16_t table[kBicSubTables * kBicPhases][4]) {
    for (int sub = 0; sub < kBicSubTables; ++sub) {
        int16_t(*rows)[4] = table + sub * kBicPhases;
        for (int phase = 0; phase <= kBicPhases / 2; ++phase) {
            double exact[4];
            ExactBicWeights(sub, phase, exact);
            RoundToUnitSum(exact, rows[phase]);
        }
        for (int phase = kBicPhases / 2 + 1; phase < kBicPhases; ++phase)
            for (int i = 0; i < 4; ++i)
                rows[phase][i] = rows[kBicPhases - phase][3 - i];
    }
}

}  // namespace vxresample

#endif
