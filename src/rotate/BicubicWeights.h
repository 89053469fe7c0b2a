// The weights of rotation's bicubic kernel: the soft cubic curve (sub-table 0 of the shared
// bicubic weight table, 64 phases of four taps for the source pixels at -1, 0, +1 and +2),
// followed by one row (0, 0, 1024, 0) that a 6-bit phase never reaches.
#ifndef VANDREL_ROTATE_BICUBICWEIGHTS_H
#define VANDREL_ROTATE_BICUBICWEIGHTS_H

#include <cstdint>

constexpr int32_t kRotateBicubicRows = 65;

// Rotation's private copy, made once from the shared table.
const int16_t (*RotateBicubicWeights())[4];

#endif
