// The recording stand-in codec, shared between its module and the tests that load it. Its
// instances take files named "*.rec" (format name "REC"), report the status and camera
// information a test puts in the recorder, deliver lines of a known pattern, and note every
// call and every buffer they are handed. The module exports
//   extern "C" FakeRecorder* FakeRecorderState();
#ifndef VANDREL_TESTS_RECORDINGPLUGIN_H
#define VANDREL_TESTS_RECORDINGPLUGIN_H

#include <cstdint>
#include <string>
#include <vector>

#include "vandrel/Records.h"

// Byte index of the plane (0 main, 1 second) of line y that the codec delivers.
inline unsigned char FakeSample(int32_t plane, int32_t y, int32_t index) {
    return (unsigned char)(index * 7 + y * 29 + plane * 101 + 3);
}

struct FakeRecorder {
    // Set by the test.
    CUImageFileStatus status;  // what GetFileStatus reports (its file part is left alone)
    CUCameraInfo camera;       // what GetCameraInfo reports
    int32_t statusResult = 1;
    int32_t cameraResult = 1;
    int32_t setRequestResult = 1;
    int32_t openResult = 1;
    int32_t readResult = 1;
    int32_t writeResult = 1;
    int32_t seekResult = 1;
    int32_t closeResult = 1;
    size_t keepBytes = 0;   // bytes of each written main line kept in written
    size_t keepBytes2 = 0;  // the same for the second plane

    // Filled by the codec.
    std::vector<std::string> calls;  // "GetFileStatus", "SetRequest", "Open r", "ReadLine", ...
    CURequest request;               // as the last SetRequest gave it
    CUImageFileStatus requestStatus;
    std::vector<const void*> lines;   // main line of each ReadLine or WriteLine
    std::vector<const void*> lines2;  // second line of each, null when none was handed over
    std::vector<std::vector<unsigned char>> written, written2;
    int32_t seekLine = 0;
    int seekOrigin = 0;

    int Count(const std::string& call) const {
        int n = 0;
        for (const std::string& c : calls)
            n += c == call ? 1 : 0;
        return n;
    }
    void Reset() { *this = FakeRecorder(); }
};

#endif
