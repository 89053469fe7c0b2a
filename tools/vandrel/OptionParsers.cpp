#include "OptionParsers.h"

#include <strings.h>

#include <cctype>
#include <cstdlib>

namespace vxtool {
namespace {

constexpr int64_t kLargestSide = 0x7FFFFFFF;

// Digits only (no sign, no spaces), within limit.
bool ParseUnsigned(const std::string& text, int base, int64_t limit, int64_t* value) {
    if (text.empty() || text.size() > 12) return false;
    for (char c : text) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (base == 16 ? !std::isxdigit(u) : !std::isdigit(u)) return false;
    }
    const int64_t v = std::strtoll(text.c_str(), nullptr, base);
    if (v > limit) return false;
    *value = v;
    return true;
}

bool ParseSide(const std::string& text, int32_t* side) {
    if (text.empty()) {
        *side = 0;
        return true;
    }
    int64_t v = 0;
    if (!ParseUnsigned(text, 10, kLargestSide, &v) || v < 1) return false;
    *side = int32_t(v);
    return true;
}

}  // namespace

bool ParseSize(const std::string& text, int32_t* width, int32_t* height) {
    const size_t cross = text.find_first_of("xX");
    if (cross == std::string::npos || text.find_first_of("xX", cross + 1) != std::string::npos)
        return false;
    int32_t w = 0, h = 0;
    if (!ParseSide(text.substr(0, cross), &w) || !ParseSide(text.substr(cross + 1), &h))
        return false;
    if (w == 0 && h == 0) return false;
    *width = w;
    *height = h;
    return true;
}

bool ParseColor(const std::string& text, int32_t* packed) {
    const std::string digits = !text.empty() && text[0] == '#' ? text.substr(1) : text;
    int64_t rgb = 0;
    if (digits.size() != 6 || !ParseUnsigned(digits, 16, 0xFFFFFF, &rgb)) return false;
    const int32_t red = int32_t(rgb >> 16) & 0xFF, green = int32_t(rgb >> 8) & 0xFF,
                  blue = int32_t(rgb) & 0xFF;
    *packed = red | (green << 8) | (blue << 16);
    return true;
}

bool ParseTag(const std::string& text, uint16_t* tag) {
    int64_t v = 0;
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (!(hex ? ParseUnsigned(text.substr(2), 16, 0xFFFF, &v)
              : ParseUnsigned(text, 10, 0xFFFF, &v)))
        return false;
    if (v < 1) return false;
    *tag = uint16_t(v);
    return true;
}

bool ParseMethod(const std::string& text, std::string* method) {
    static const char* const kMethods[] = {"Nearest", "Bilinear", "Bicubic", "Quorix", "Squeeze"};
    for (const char* name : kMethods) {
        if (::strcasecmp(text.c_str(), name) == 0) {
            *method = name;
            return true;
        }
    }
    return false;
}

void FitSize(int32_t sourceWidth, int32_t sourceHeight, int32_t width, int32_t height,
             int32_t* outWidth, int32_t* outHeight) {
    if (width > 0 && height <= 0 && sourceWidth > 0) {
        const int64_t h =
            (int64_t(sourceHeight) * width * 2 + sourceWidth) / (2 * int64_t(sourceWidth));
        height = int32_t(h < 1 ? 1 : h > kLargestSide ? kLargestSide : h);
    } else if (height > 0 && width <= 0 && sourceHeight > 0) {
        const int64_t w =
            (int64_t(sourceWidth) * height * 2 + sourceHeight) / (2 * int64_t(sourceHeight));
        width = int32_t(w < 1 ? 1 : w > kLargestSide ? kLargestSide : w);
    }
    *outWidth = width > 0 ? width : 0;
    *outHeight = height > 0 ? height : 0;
}

}  // namespace vxtool
