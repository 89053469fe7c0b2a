// Parameter lists a decoder may fill while it reads: fixed-size entries of a key, three words
// and two texts, kept in a list of fixed capacity. A decode that is handed a request without a
// list lends it one for the duration of the read.
#ifndef VANDREL_UTILPARAM_H
#define VANDREL_UTILPARAM_H

#include <cstdint>
#include <new>

#include "vandrel/Records.h"

// One entry of a parameter list.
class CKeyTypeValue {
public:
    int32_t lKey = 0;
    int32_t lType = 0;
    int32_t lValue1 = 0;
    int32_t lValue2 = 0;
    ministring strName;
    ministring strValue;

    virtual ~CKeyTypeValue() = default;
};

// A list of at most kCapacity entries. When the entries cannot be allocated the list has
// capacity 0 and takes nothing.
class CUtilParamArray {
public:
    static constexpr int32_t kCapacity = 64;

    CUtilParamArray() : m_entries(new (std::nothrow) CKeyTypeValue[kCapacity]) {
        m_capacity = m_entries != nullptr ? kCapacity : 0;
        for (int32_t i = 0; i < m_capacity; ++i)
            m_entries[i].strName.clear();
    }
    virtual ~CUtilParamArray() { delete[] m_entries; }
    CUtilParamArray(const CUtilParamArray&) = delete;
    CUtilParamArray& operator=(const CUtilParamArray&) = delete;

    int32_t Count() const { return m_count; }
    int32_t Capacity() const { return m_capacity; }
    // The entry at index, or null outside the used entries.
    const CKeyTypeValue* At(int32_t index) const {
        return index >= 0 && index < m_count ? &m_entries[index] : nullptr;
    }
    // Appends a copy of entry; 1, or 0 when the list is full.
    int32_t Add(const CKeyTypeValue& entry) {
        if (m_count >= m_capacity) return 0;
        m_entries[m_count++] = entry;
        return 1;
    }

private:
    CKeyTypeValue* m_entries;
    int32_t m_count = 0;
    int32_t m_capacity = 0;
};

// A second member of the parameter family, with no data of its own.
class CUtilParam {
public:
    virtual ~CUtilParam() = default;
};

#endif
