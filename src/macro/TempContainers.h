// The scratch containers of a chained pipeline: one for the image and, where wanted, one for
// its alpha plane. Both are deleted whichever way the chain ends.
#ifndef VANDREL_MACRO_TEMPCONTAINERS_H
#define VANDREL_MACRO_TEMPCONTAINERS_H

#include "vandrel/Status.h"
#include "vandrel/UtilContainerIF.h"

class CTempContainers {
public:
    CTempContainers() = default;
    ~CTempContainers() { Release(); }
    CTempContainers(const CTempContainers&) = delete;
    CTempContainers& operator=(const CTempContainers&) = delete;

    // 1, or kVxErrMacroEngines with neither container kept.
    int32_t Create(bool withAlpha = true) {
        m_image = CreateUtilContainer();
        if (m_image != nullptr && withAlpha) m_alpha = CreateUtilContainer();
        if (m_image == nullptr || (withAlpha && m_alpha == nullptr)) {
            Release();
            return kVxErrMacroEngines;
        }
        return 1;
    }
    IUtilContainerIF* Image() const { return m_image; }
    IUtilContainerIF* Alpha() const { return m_alpha; }

private:
    void Release() {
        if (m_image != nullptr) m_image->Delete();
        if (m_alpha != nullptr) m_alpha->Delete();
        m_image = nullptr;
        m_alpha = nullptr;
    }

    IUtilContainerIF* m_image = nullptr;
    IUtilContainerIF* m_alpha = nullptr;
};

// When a chain moves on from its first step to the second.
enum class ChainOn {
    kSuccess,           // only a result above 0
    kSuccessOrWarning,  // a warning of the first step too
};

// The two-step chain: `fill` writes fresh temporaries (image and, unless told otherwise, alpha),
// `use` reads them once fill's result lets the chain go on. The result is that of the step that
// ran last, or kVxErrMacroEngines when the temporaries cannot be made.
//
// kSuccessOrWarning departs from "a first step below 1 ends the chain": a warning of the first
// step (a decode that met recoverable damage) is one that pipelines take for success, so ending
// there would answer success with an empty destination. The chain goes on, and when the second
// step succeeds the first step's warning is the answer, so it is not lost.
template <typename Fill, typename Use>
int32_t ThroughTemporaries(ChainOn on, Fill fill, Use use, bool withAlpha = true) {
    CTempContainers temp;
    int32_t r = temp.Create(withAlpha);
    if (r < 1) return r;
    const int32_t first = fill(temp.Image(), temp.Alpha());
    const bool goOn = on == ChainOn::kSuccess ? first > 0 : VxSucceeded(first);
    if (!goOn) return first;
    r = use(temp.Image(), temp.Alpha());
    return r > 0 && VxIsWarning(first) ? first : r;
}

#endif
