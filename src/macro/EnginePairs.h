// The two engines of a pass, one for the image and one for its alpha plane. Only the engines
// that began are ended, and the alpha plane's is begun only when there is one to transform.
#ifndef VANDREL_MACRO_ENGINEPAIRS_H
#define VANDREL_MACRO_ENGINEPAIRS_H

#include "vandrel/Records.h"
#include "vandrel/UtilContainerIF.h"
#include "vandrel/UtilResizeIF.h"
#include "vandrel/UtilRotateIF.h"

class CResizerPair {
public:
    CResizerPair(IUtilResizeIF* image, IUtilResizeIF* alpha) : m_image(image), m_alpha(alpha) {}
    ~CResizerPair() { End(); }
    CResizerPair(const CResizerPair&) = delete;
    CResizerPair& operator=(const CResizerPair&) = delete;

    // Begins the image's resizer, then the alpha plane's when alphaInfo is given; the code of
    // the last begin, or the first that failed.
    int32_t Begin(const CURequest& request, const CUImageInfo& info, const CUImageInfo* alphaInfo) {
        int32_t r = m_image->BeginResize(info, request);
        if (r < 0) return r;
        m_imageBegun = true;
        if (alphaInfo == nullptr) return r;
        r = m_alpha->BeginResize(*alphaInfo, request);
        if (r >= 0) m_alphaBegun = true;
        return r;
    }
    void End() {
        if (m_imageBegun) m_image->EndResize();
        if (m_alphaBegun) m_alpha->EndResize();
        m_imageBegun = false;
        m_alphaBegun = false;
    }

private:
    IUtilResizeIF* m_image;
    IUtilResizeIF* m_alpha;
    bool m_imageBegun = false;
    bool m_alphaBegun = false;
};

class CRotatorPair {
public:
    CRotatorPair(IUtilRotateIF* image, IUtilRotateIF* alpha) : m_image(image), m_alpha(alpha) {}
    ~CRotatorPair() { End(); }
    CRotatorPair(const CRotatorPair&) = delete;
    CRotatorPair& operator=(const CRotatorPair&) = delete;

    // Begins the image's rotator, then the alpha plane's when alpha is given; the code of the
    // last begin, or the first that failed.
    int32_t Begin(const CURequest& request, const IUtilContainerIF* image,
                  const IUtilContainerIF* alpha) {
        int32_t r = m_image->BeginRotating(image, request);
        if (r < 0) return r;
        m_imageBegun = true;
        if (alpha == nullptr) return r;
        r = m_alpha->BeginRotating(alpha, request);
        if (r >= 0) m_alphaBegun = true;
        return r;
    }
    void End() {
        if (m_imageBegun) m_image->EndRotating();
        if (m_alphaBegun) m_alpha->EndRotating();
        m_imageBegun = false;
        m_alphaBegun = false;
    }

private:
    IUtilRotateIF* m_image;
    IUtilRotateIF* m_alpha;
    bool m_imageBegun = false;
    bool m_alphaBegun = false;
};

#endif
