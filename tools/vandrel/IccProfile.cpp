#include "IccProfile.h"

#include <cstring>

#include "vandrel/Variant.h"

namespace vxtool {
namespace {

constexpr int32_t kTagIccProfile = 0x8773;
// Segment length (2 bytes), "ICC_PROFILE" and its zero, sequence number, segment count.
constexpr uint32_t kApp2HeaderBytes = 16;
constexpr char kIccIdentifier[] = "ICC_PROFILE";

int32_t App2ProfileBytes(IUTagDB* db) {
    const int32_t segments = db->GetTagCount(kVxTagGroupApp2) & 0xFFFF;
    int64_t total = 0;
    for (int32_t i = 0; i < segments; ++i) {
        CUtilVariant segment;
        if (db->GetTagValue(kVxTagGroupApp2, i, segment) <= 0) return 0;
        if (segment.size() <= kApp2HeaderBytes || segment.data() == nullptr) return 0;
        if (std::memcmp(segment.data() + 2, kIccIdentifier, sizeof kIccIdentifier - 1) != 0)
            return 0;
        total += segment.size() - kApp2HeaderBytes;
    }
    return total > 0x7FFFFFFF ? 0x7FFFFFFF : int32_t(total);
}

}  // namespace

int32_t IccProfileBytes(IUTagDB* db) {
    if (db == nullptr) return 0;
    CUtilVariant profile;
    if (db->GetTagValue(kVxTagGroupIfd0, kTagIccProfile, profile) > 0 && profile.size() > 0)
        return int32_t(profile.size());
    return App2ProfileBytes(db);
}

}  // namespace vxtool
