// The caller's progress and cancel hook for the one-call pipelines of the macro object.
// Every operation answers 1 or more to go on and 0 or less to cancel the running request.
#ifndef VANDREL_MACROCALLBACK_H
#define VANDREL_MACROCALLBACK_H

#include <cstdint>

class IMacroCallback {
public:
    // The stage that is starting.
    enum Process {
        ProcessDecode = 0,  // every decode pipeline
        ProcessEncode = 1,  // every encode pipeline
        ProcessResize = 2,  // resizing, and depth or colour-space conversion of a container
        ProcessRotate = 3,  // rotation
    };

    // Once per request, before any stage; each stage is worth 128 steps.
    /* 0 */ virtual int32_t Start(int32_t totalSteps) = 0;
    // Once per request, after the pipeline returned, also after a failure.
    /* 1 */ virtual int32_t Finish() = 0;
    /* 2 */ virtual int32_t BeginProcess(Process stage) = 0;
    // The number of whole steps just completed in the running stage.
    /* 3 */ virtual int32_t Progress(uint32_t steps) = 0;
    /* 4 */ virtual int32_t EndProcess() = 0;
    virtual ~IMacroCallback() = default;
};

#endif
