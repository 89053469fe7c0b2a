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

#endif
