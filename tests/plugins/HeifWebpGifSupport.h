// What the HEIF, WebP and GIF tests share: writing through a codec with properties handed over
// in the request's parameter list, running the Debian command-line tools in a scratch folder,
// and comparing pixels at 8 bits.
#ifndef VANDREL_TESTS_HEIFWEBPGIFSUPPORT_H
#define VANDREL_TESTS_HEIFWEBPGIFSUPPORT_H

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "CodecTestSupport.h"
#include "vandrel/CodecProperties.h"
#include "vandrel/TagDB.h"
#include "vandrel/UtilParam.h"
#include "vandrel/Variant.h"

namespace vxtest {

using Properties = std::vector<std::pair<int32_t, const void*>>;

// EncodeFile with properties applied the way the service applies them: as entries of the
// request's parameter list.
inline int32_t EncodeWith(IPlugIn* prototype, const std::string& file, const Image& img,
                          int32_t quality, const Properties& properties) {
    Instance plugIn(prototype, file);
    if (plugIn.get() == nullptr) return kVxErrCreateInstance;
    CUtilParamArray list;
    for (const auto& property : properties)
        list.Add(VxPropertyEntry(property.first, property.second));
    CURequest request;
    request.info.lWidth = img.width;
    request.info.lHeight = img.height;
    request.info.lColorDepth = img.depth;
    request.lQuality = quality;
    request.lOption3 = img.alphaDepth != 0 ? 1 : 0;
    request.pParamList = &list;
    int32_t code = plugIn->SetRequest(request, CUImageFileStatus());
    if (code < 0) return code;
    code = plugIn->Open("w");
    if (code < 0) return code;
    for (int32_t y = 0; y < img.height; ++y) {
        const unsigned char* a =
            img.alphaDepth ? img.alpha.data() + y * img.AlphaRowBytes() : nullptr;
        code = plugIn->WriteLine(img.color.data() + y * img.ColorRowBytes(), a);
        if (code < 0) {
            plugIn->Close();
            return code;
        }
    }
    return plugIn->Close();
}

// True when every named program is on the PATH.
inline bool HaveTools(const std::vector<std::string>& tools) {
    for (const std::string& tool : tools)
        if (std::system(("command -v " + tool + " >/dev/null 2>&1").c_str()) != 0) return false;
    return true;
}

// Runs a shell command inside dir, quietly; true when it succeeded.
inline bool RunIn(const ScratchDir& dir, const std::string& command) {
    return std::system(("cd '" + dir.path() + "' && (" + command + ") >/dev/null 2>&1").c_str()) ==
           0;
}

inline uint16_t Sample16(const std::vector<unsigned char>& samples, size_t index) {
    uint16_t v;
    std::memcpy(&v, samples.data() + 2 * index, 2);
    return v;
}

// The top `bits` bits of each 16-bit sample (host order).
inline std::vector<uint16_t> TopBits(const std::vector<unsigned char>& samples, int bits) {
    std::vector<uint16_t> out(samples.size() / 2);
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = uint16_t(Sample16(samples, i) >> (16 - bits));
    return out;
}

// The samples at 8 bits: the high bytes of 16-bit ones.
inline std::vector<unsigned char> AsEightBit(const std::vector<unsigned char>& samples, int bits) {
    if (bits == 8) return samples;
    std::vector<unsigned char> out;
    for (uint16_t v : TopBits(samples, 8))
        out.push_back(static_cast<unsigned char>(v));
    return out;
}

}  // namespace vxtest

#endif
