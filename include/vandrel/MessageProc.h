// A codec's progress messages reach whoever stands in CURequest::pMessageProc.
//   message 1: data points at an int32_t; non-zero says the decoder will report its own
//              progress for half of the decode.
//   message 2: data points at an int32_t line count N; sent as decoding advances.
//   message 3: data points at an int32_t warning status; the decoder met damage it stepped
//              over (the codecs of this tree send it once per read, at the first damaged
//              line). The line's own status says so too, but a caller who reads through a
//              pipeline sees only the status of the last line.
#ifndef VANDREL_MESSAGEPROC_H
#define VANDREL_MESSAGEPROC_H

#include <cstdint>

class IMessageProc {
public:
    virtual int32_t MessageProc(int message, void* data) {
        (void)message;
        (void)data;
        return 0;
    }
    virtual ~IMessageProc() = default;
};

#endif
