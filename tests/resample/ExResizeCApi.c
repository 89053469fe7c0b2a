/* Compiled as C: the resampling header must stay plain C. Resizes a 6 x 6 gray ramp to
 * 4 x 4 with bilinear weights and returns the sum of the output samples, or -1 on failure. */
#include "vandrel/ExResize.h"

int ExResizeSumFromC(void) {
    EXRESIZE_HANDLE* handle = NULL;
    EXIMAGEINFO source = {6, 6, EXFORMAT_GRAY8};
    EXIMAGEINFO destination = {4, 4, EXFORMAT_GRAY8};
    unsigned char line[6];
    unsigned char out[4];
    int sum = 0;
    int y, i, ready;
    if (ExCreateResizeHandle(&handle) != EXERR_NONE) return -1;
    if (ExBeginResize(&source, &destination, EXRESIZE_BILINEAR, 0, handle) != EXERR_NONE) return -1;
    for (y = 0; y < 6; ++y) {
        for (i = 0; i < 6; ++i) line[i] = (unsigned char)(10 * i + y);
        ready = ExResizeSetLine(line, handle);
        while (ready-- > 0) {
            if (ExResizeGetLine(out, handle, NULL) != EXERR_NONE) return -1;
            for (i = 0; i < 4; ++i) sum += out[i];
        }
    }
    ExDisposeResizeHandle(handle);
    return sum + (BicTable[64 + 32][1] == 576 ? 0 : 100000);
}
