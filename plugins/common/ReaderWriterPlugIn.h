// A codec built on a library that holds either a reader or a writer at a time: "r" and "w" open
// one of them, Close releases whichever is open. The codec supplies the four halves.
#ifndef VANDREL_PLUGINS_READERWRITERPLUGIN_H
#define VANDREL_PLUGINS_READERWRITERPLUGIN_H

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>

#include "PlugInBase.h"
#include "vandrel/Status.h"

namespace vxcodec {

class CReaderWriterPlugIn : public CPlugInBase {
public:
    using CPlugInBase::CPlugInBase;

    /* 19 */ int32_t Open(const char* mode) override {
        if (mode == nullptr) return kVxErrInvalidArgument;
        if (IsOpen()) return kVxErrCodecState;
        if (mode[0] == 'r') return OpenForReading();
        if (mode[0] == 'w') return OpenForWriting();
        return kVxErrInvalidArgument;
    }
    // A reader's failure outranks the writer's answer.
    /* 23 */ int32_t Close() override {
        int32_t reader = CloseReader();
        int32_t writer = CloseWriter();
        return reader < 0 ? reader : writer;
    }

protected:
    ~CReaderWriterPlugIn() override = default;

    virtual bool IsOpen() const = 0;
    virtual int32_t OpenForReading() = 0;
    virtual int32_t OpenForWriting() = 0;
    // Both answer 1 when there is nothing to close.
    virtual int32_t CloseReader() = 0;
    virtual int32_t CloseWriter() = 0;

    // The last step of closing a writer: a file that did not get all its lines (code is not 1)
    // is removed rather than left half-written. Only a regular file: a device or FIFO written
    // in place (a full /dev/full) is not the writer's to remove.
    int32_t KeepFileOnlyIfComplete(int32_t code) const {
        struct stat st;
        if (code != 1 && ::stat(FileName(), &st) == 0 && S_ISREG(st.st_mode))
            std::remove(FileName());
        return code;
    }
};

}  // namespace vxcodec

#endif
