#include "metadata/ColorMetadata.h"

#include <cstring>

#include "vandrel/Variant.h"

namespace {

constexpr int32_t kNoProfile = 0;
constexpr int32_t kYes = 1;
constexpr int32_t kNo = 0;

// An APP2 value starts with the 2-byte segment length, then the identifier with its zero, then
// the piece's sequence number and the count of pieces.
constexpr uint32_t kIdentifierAt = 2;
constexpr uint32_t kIdentifierLength = sizeof JFIF_HEADER_ICC_PROFILE - 1;
constexpr uint32_t kIccSegmentHeadBytes = kIdentifierAt + sizeof JFIF_HEADER_ICC_PROFILE + 2;

constexpr int32_t kIccProfileTag = 0x8773;
constexpr int32_t kInteropIndexTag = 0x0001;
constexpr int32_t kColorSpaceTag = 0xA001;
constexpr char kInteropSRGB[] = "R98";
constexpr uint32_t kColorSpaceSRGB = 1;

bool ReadTag(IUTagDB* db, int32_t group, int32_t tag, CUtilVariant& value) {
    return db->GetTagValue(group, tag, value) > 0;
}

// Text values may or may not count their terminating zero; compare up to the first zero within
// the stored bytes.
bool TextEquals(const CUtilVariant& value, const char* text) {
    const char* stored = reinterpret_cast<const char*>(value.data());
    if (value.type() != CUtilVariant::kAscii || stored == nullptr) return false;
    const void* zero = std::memchr(stored, 0, value.size());
    const size_t length = zero ? size_t(static_cast<const char*>(zero) - stored) : value.size();
    return length == std::strlen(text) && std::memcmp(stored, text, length) == 0;
}

}  // namespace

int32_t GetJfifICCProfile(IUTagDB* db, char* buffer) {
    if (db == nullptr) return kNoProfile;
    // The segment count is kept in 16 signed bits.
    const int16_t segments = int16_t(db->GetTagCount(kVxTagGroupApp2));
    int64_t total = 0;
    for (int32_t index = 0; index < segments; ++index) {
        CUtilVariant segment;
        if (!ReadTag(db, kVxTagGroupApp2, index, segment)) return kNoProfile;
        const uint32_t bytes = segment.valuesize() * segment.count();
        const unsigned char* data = segment.data();
        // One foreign APP2 segment cancels the whole profile.
        if (bytes <= kIccSegmentHeadBytes || data == nullptr ||
            std::memcmp(data + kIdentifierAt, JFIF_HEADER_ICC_PROFILE, kIdentifierLength) != 0)
            return kNoProfile;
        const uint32_t piece = bytes - kIccSegmentHeadBytes;
        if (total + piece > INT32_MAX) return kNoProfile;
        if (buffer != nullptr) std::memcpy(buffer + total, data + kIccSegmentHeadBytes, piece);
        total += piece;
    }
    return int32_t(total);
}

int32_t GetTiffICCProfile(IUTagDB* db, char* buffer) {
    if (db == nullptr) return kNoProfile;
    CUtilVariant profile;
    if (!ReadTag(db, kVxTagGroupIfd0, kIccProfileTag, profile)) return kNoProfile;
    const uint32_t bytes = profile.valuesize() * profile.count();
    if (bytes > uint32_t(INT32_MAX) || (bytes > 0 && profile.data() == nullptr)) return kNoProfile;
    if (buffer != nullptr && bytes > 0) std::memcpy(buffer, profile.data(), bytes);
    return int32_t(bytes);
}

int32_t IsEXIFsRGB(IUTagDB* db) {
    if (db == nullptr) return kNo;
    CUtilVariant interop;
    if (ReadTag(db, kVxTagGroupInterop, kInteropIndexTag, interop) &&
        TextEquals(interop, kInteropSRGB))
        return kYes;
    CUtilVariant colorSpace;
    if (ReadTag(db, kVxTagGroupExif, kColorSpaceTag, colorSpace) &&
        colorSpace.type() == CUtilVariant::kShort && colorSpace.count() > 0 &&
        colorSpace.uintAt(0) == kColorSpaceSRGB)
        return kYes;
    return kNo;
}
