// The two engines of a pass, one for the image and one for its alpha plane. The alpha plane's
// engine begins only when there is a plane to transform, and only engines that began are ended.
#ifndef VANDREL_MACRO_ENGINEPAIR_H
#define VANDREL_MACRO_ENGINEPAIR_H

#include "vandrel/Records.h"
#include "vandrel/UtilContainerIF.h"
#include "vandrel/UtilResizeIF.h"
#include "vandrel/UtilRotateIF.h"

namespace vxmacro {

inline int32_t BeginEngine(IUtilResizeIF* resizer, const CUImageInfo& source,
                           const CURequest& request) {
    return resizer->BeginResize(source, request);
}
inline int32_t BeginEngine(IUtilRotateIF* rotator, const IUtilContainerIF* source,
                           const CURequest& request) {
    return rotator->BeginRotating(source, request);
}
inline void EndEngine(IUtilResizeIF* resizer) {
    resizer->EndResize();
}
inline void EndEngine(IUtilRotateIF* rotator) {
    rotator->EndRotating();
}

}  // namespace vxmacro

template <typename Engine>
class CEnginePair {
public:
    CEnginePair(Engine* image, Engine* alpha) : m_image(image), m_alpha(alpha) {}
    ~CEnginePair() { End(); }
    CEnginePair(const CEnginePair&) = delete;
    CEnginePair& operator=(const CEnginePair&) = delete;

    // Begins the image's engine, then the alpha plane's when withAlpha; the code of the last
    // begin, or of the first that failed.
    template <typename Source>
    int32_t Begin(const CURequest& request, const Source& image, const Source& alpha,
                  bool withAlpha) {
        int32_t r = vxmacro::BeginEngine(m_image, image, request);
        if (r < 0) return r;
        m_imageBegun = true;
        if (!withAlpha) return r;
        r = vxmacro::BeginEngine(m_alpha, alpha, request);
        if (r >= 0) m_alphaBegun = true;
        return r;
    }
    void End() {
        if (m_imageBegun) vxmacro::EndEngine(m_image);
        if (m_alphaBegun) vxmacro::EndEngine(m_alpha);
        m_imageBegun = false;
        m_alphaBegun = false;
    }

private:
    Engine* m_image;
    Engine* m_alpha;
    bool m_imageBegun = false;
    bool m_alphaBegun = false;
};

using CResizerPair = CEnginePair<IUtilResizeIF>;
using CRotatorPair = CEnginePair<IUtilRotateIF>;

#endif
