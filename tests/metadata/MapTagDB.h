// A tag database held in a map, as a codec plug-in would serve one; the count of a group can
// be forced to something other than the number of its values.
#ifndef VANDREL_TESTS_METADATA_MAPTAGDB_H
#define VANDREL_TESTS_METADATA_MAPTAGDB_H

#include <map>
#include <string>
#include <utility>

#include "vandrel/TagDB.h"
#include "vandrel/Variant.h"

namespace vxtest {

class MapTagDB : public IUTagDB {
public:
    void Delete() override {}
    int32_t Load(const char*) override { return 1; }
    int32_t GetTagValue(int32_t group, int32_t tag, CUtilVariant& value) override {
        auto it = m_values.find({group, tag});
        if (it == m_values.end()) return 0;
        value = it->second;
        return 1;
    }
    int32_t SetTagValue(int32_t group, int32_t tag, const CUtilVariant& value) override {
        m_values[{group, tag}] = value;
        return 1;
    }
    int32_t RemoveTag(int32_t group, int32_t tag) override {
        return int32_t(m_values.erase({group, tag}));
    }
    int32_t GetTagId(int32_t, int32_t) override { return 0; }
    void Clear() override { m_values.clear(); }
    int32_t GetGroupCount() override { return 0; }
    int32_t GetTagCount(int32_t group) override {
        auto forced = m_forcedCounts.find(group);
        if (forced != m_forcedCounts.end()) return forced->second;
        int32_t n = 0;
        for (const auto& entry : m_values)
            n += entry.first.first == group;
        return n;
    }

    void set(int32_t group, int32_t tag, CUtilVariant::Type type, const std::string& bytes,
             uint32_t count) {
        CUtilVariant v;
        v.set(type, bytes.data(), count);
        SetTagValue(group, tag, v);
    }
    void text(int32_t group, int32_t tag, const std::string& s) {
        set(group, tag, CUtilVariant::kAscii, s, uint32_t(s.size()));
    }
    void shortValue(int32_t group, int32_t tag, uint16_t value) {
        set(group, tag, CUtilVariant::kShort, std::string(reinterpret_cast<char*>(&value), 2), 1);
    }
    void addApp2(const std::string& segment) {
        set(kVxTagGroupApp2, GetTagCount(kVxTagGroupApp2), CUtilVariant::kUndefined, segment,
            uint32_t(segment.size()));
    }
    void forceCount(int32_t group, int32_t count) { m_forcedCounts[group] = count; }

private:
    std::map<std::pair<int32_t, int32_t>, CUtilVariant> m_values;
    std::map<int32_t, int32_t> m_forcedCounts;
};

}  // namespace vxtest

#endif
