#include "rotate/BicubicWeights.h"

#include <cstring>

#include "vandrel/ExResize.h"

namespace {

// Sub-table 0 and the closing row, copied once: the kernels index it with a 6-bit phase.
struct PrivateWeights {
    int16_t rows[kRotateBicubicRows][4] = {};

    PrivateWeights() {
        std::memcpy(rows, BicTable, sizeof(int16_t) * 4 * (kRotateBicubicRows - 1));
        const int16_t last[4] = {0, 0, 1024, 0};
        std::memcpy(rows[kRotateBicubicRows - 1], last, sizeof(last));
    }
};

}  // namespace

const int16_t (*RotateBicubicWeights())[4] {
    static const PrivateWeights weights;
    return weights.rows;
}
