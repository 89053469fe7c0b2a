// Turning a picture upright from its Exif orientation. Each of the eight orientations is a
// horizontal mirror (or none) followed by a clockwise turn of 0, 90, 180 or 270 degrees. The
// tool's rotations turn clockwise and the mirror is cheapest on finished lines, so the mirror
// is moved to the end: M then R(a) is R(-a) then M, and a user's own rotation u joins the turn.
#ifndef VANDREL_TOOL_ORIENTATION_H
#define VANDREL_TOOL_ORIENTATION_H

#include <cstdint>

#include "vandrel/UtilContainerIF.h"

namespace vxtool {

struct COrientationSteps {
    double angle = 0.0;   // clockwise degrees the stored picture is turned by, in [0, 360)
    bool mirror = false;  // then every line is mirrored
};

// The steps that bring a picture of this Exif orientation upright and then turn it by the
// user's clockwise rotation. Orientation 0 (none) and 1 leave the rotation alone.
COrientationSteps UprightSteps(uint16_t orientation, double userAngle);

// Mirrors every line of a container left to right, in place; 1, or a failing code.
int32_t MirrorLines(IUtilContainerIF* image);

}  // namespace vxtool

#endif
