#include "IccProfile.h"

#include <cstring>

#include "vandrel/Variant.h"

namespace vxtool {
namespace {

constexpr int32_t kTagIccProfile = 0x8773;
// Segment length (2 bytes), "ICC_PROFILE" and its zero, sequence number, segment count.
constexpr uint32_t kApp2HeaderBytes = 16;
constexpr char kIccIdentifier[] = "ICC_PROFILE";
// The profile header, then the tag count and 12-byte tag entries.
constexpr size_t kIccHeaderBytes = 128;

// Walks the APP2 segments; with `data` null it only counts. 0 when they hold no profile.
int64_t App2Profile(IUTagDB* db, std::string* data) {
    const int32_t segments = db->GetTagCount(kVxTagGroupApp2) & 0xFFFF;
    int64_t total = 0;
    for (int32_t i = 0; i < segments; ++i) {
        CUtilVariant segment;
        if (db->GetTagValue(kVxTagGroupApp2, i, segment) <= 0) return 0;
        if (segment.size() <= kApp2HeaderBytes || segment.data() == nullptr) return 0;
        if (std::memcmp(segment.data() + 2, kIccIdentifier, sizeof kIccIdentifier - 1) != 0)
            return 0;
        total += segment.size() - kApp2HeaderBytes;
        if (data != nullptr)
            data->append(reinterpret_cast<const char*>(segment.data()) + kApp2HeaderBytes,
                         segment.size() - kApp2HeaderBytes);
    }
    return total;
}

uint32_t BigEndian32(const std::string& b, size_t at) {
    return uint32_t(uint8_t(b[at])) << 24 | uint32_t(uint8_t(b[at + 1])) << 16 |
           uint32_t(uint8_t(b[at + 2])) << 8 | uint32_t(uint8_t(b[at + 3]));
}

// ASCII of a v2 'desc' element or the first record of a v4 'mluc' (UTF-16BE, non-ASCII as '?').
std::string DescriptionText(const std::string& p, size_t at, size_t size) {
    if (size < 12 || at + size > p.size()) return "";
    const std::string type = p.substr(at, 4);
    std::string text;
    if (type == "desc") {
        const uint32_t count = BigEndian32(p, at + 8);
        if (count == 0 || 12 + uint64_t(count) > size) return "";
        text = p.substr(at + 12, count);
        text.resize(std::strlen(text.c_str()));
    } else if (type == "mluc" && size >= 28) {
        const uint32_t length = BigEndian32(p, at + 20), offset = BigEndian32(p, at + 24);
        if (uint64_t(offset) + length > size) return "";
        for (uint32_t i = 0; i + 1 < length; i += 2) {
            const unsigned hi = uint8_t(p[at + offset + i]), lo = uint8_t(p[at + offset + i + 1]);
            text += hi == 0 && lo >= 0x20 && lo < 0x7F ? char(lo) : '?';
        }
    }
    return text;
}

}  // namespace

int32_t IccProfileBytes(IUTagDB* db) {
    if (db == nullptr) return 0;
    CUtilVariant profile;
    if (db->GetTagValue(kVxTagGroupIfd0, kTagIccProfile, profile) > 0 && profile.size() > 0)
        return int32_t(profile.size());
    const int64_t total = App2Profile(db, nullptr);
    return total > 0x7FFFFFFF ? 0x7FFFFFFF : int32_t(total);
}

std::string IccProfileData(IUTagDB* db) {
    if (db == nullptr) return "";
    CUtilVariant profile;
    if (db->GetTagValue(kVxTagGroupIfd0, kTagIccProfile, profile) > 0 && profile.size() > 0)
        return std::string(reinterpret_cast<const char*>(profile.data()), profile.size());
    std::string data;
    return App2Profile(db, &data) > 0 ? data : std::string();
}

std::string IccProfileDescription(const std::string& p) {
    if (p.size() < kIccHeaderBytes + 4) return "";
    const uint32_t tags = BigEndian32(p, kIccHeaderBytes);
    for (uint64_t i = 0; i < tags; ++i) {
        const uint64_t entry = kIccHeaderBytes + 4 + i * 12;
        if (entry + 12 > p.size()) break;
        if (p.compare(size_t(entry), 4, "desc") != 0) continue;
        return DescriptionText(p, BigEndian32(p, size_t(entry) + 4),
                               BigEndian32(p, size_t(entry) + 8));
    }
    return "";
}

}  // namespace vxtool
