// A typed tag value: a TIFF field type, an element count and an owned element array.
// Header-only, so plug-ins use it without linking the library.
#ifndef VANDREL_VARIANT_H
#define VANDREL_VARIANT_H

#include <cctype>
#include <cstdint>
#include <cstring>
#include <new>

#include "vandrel/Assert.h"

class CUtilVariant {
public:
    typedef int32_t Type;
    enum : Type {
        kEmpty = 0,
        kByte = 1,
        kSByte = 2,
        kAscii = 3,
        kShort = 4,
        kSShort = 5,
        kLong = 6,
        kValue32 = 7,
        kRational = 8,
        kSRational = 9,
        kUndefined = 10,
    };

    CUtilVariant() = default;
    // Copies own their data; an empty variant copies as empty (no storage at all).
    CUtilVariant(const CUtilVariant& o) { assign(o); }
    CUtilVariant& operator=(const CUtilVariant& o) {
        if (this != &o) assign(o);
        return *this;
    }

    virtual ~CUtilVariant() { delete[] m_data; }

    // Stores count elements of type; with data null the storage is zeroed for the caller to
    // fill. Text gets one more byte, always 0, so it is terminated. The old storage is released
    // only after the copy, so data may point into this variant's own elements.
    virtual void set(Type type, const void* data, uint32_t count) {
        unsigned char* previous = m_data;
        m_data = nullptr;
        clear();
        m_count = count;
        m_type = type;
        const uint32_t bytes = size();
        // A count whose bytes (with the text terminator) do not fit 32 bits cannot be held:
        // such an allocation yields nothing rather than a wrapped-around small one.
        const uint64_t wanted = uint64_t(ElementSize(type)) * count + (type == kAscii ? 1u : 0u);
        unsigned char* storage = wanted <= UINT32_MAX ? allocate(uint32_t(wanted)) : nullptr;
        if (storage == nullptr) {
            delete[] previous;
            clear();
            return;
        }
        if (type == kAscii) storage[bytes] = 0;
        if (bytes > 0) {
            if (data != nullptr)
                std::memcpy(storage, data, bytes);
            else
                std::memset(storage, 0, bytes);
        }
        m_data = storage;
        delete[] previous;
    }
    virtual void clear() {
        m_type = kEmpty;
        m_count = 0;
        delete[] m_data;
        m_data = nullptr;
    }
    virtual Type type() const { return m_type; }
    virtual uint32_t size() const { return valuesize() * m_count; }
    virtual uint32_t count() const { return m_count; }
    virtual uint32_t valuesize() const { return ElementSize(m_type); }
    // Running out of memory for a tag value is fatal.
    virtual unsigned char* allocate(uint32_t bytes) const {
        unsigned char* p = nullptr;
        try {
            p = new unsigned char[bytes];
        } catch (...) {
            vandrel::FatalAssertion("Sources/Header/UtilVariant", 163, "false");
        }
        if (p == nullptr) vandrel::FatalAssertion("Sources/Header/UtilVariant", 159, "false");
        return p;
    }

    static uint32_t ElementSize(Type type) {
        switch (type) {
            case kByte:
            case kSByte:
            case kAscii:
            case kUndefined:
                return 1;
            case kShort:
            case kSShort:
                return 2;
            case kLong:
            case kValue32:
                return 4;
            case kRational:
            case kSRational:
                return 8;
            default:
                return 0;
        }
    }

    // Element access in host order (the tag reader stores values swapped to host order).
    const unsigned char* data() const { return m_data; }
    unsigned char* data() { return m_data; }
    const char* text() const {
        return m_type == kAscii && m_data ? reinterpret_cast<const char*>(m_data) : "";
    }
    // The index-th element read as an unsigned integer (rationals: the numerator); 0 outside
    // the stored bytes, which size() bounds even where valuesize() * count() wrapped around.
    uint32_t uintAt(uint32_t index) const {
        const uint64_t end = (uint64_t(index) + 1) * valuesize();
        if (m_data == nullptr || index >= m_count || end > size()) return 0;
        const unsigned char* p = m_data + size_t(index) * valuesize();
        switch (m_type) {
            case kByte:
            case kAscii:
            case kUndefined:
                return p[0];
            case kSByte:
                return uint32_t(int32_t(int8_t(p[0])));
            case kShort: {
                uint16_t v;
                std::memcpy(&v, p, 2);
                return v;
            }
            case kSShort: {
                int16_t v;
                std::memcpy(&v, p, 2);
                return uint32_t(int32_t(v));
            }
            case kLong:
            case kValue32:
            case kRational:
            case kSRational: {
                uint32_t v;
                std::memcpy(&v, p, 4);
                return v;
            }
            default:
                return 0;
        }
    }

private:
    void assign(const CUtilVariant& o) {
        if (o.m_type == kEmpty && o.m_count == 0)
            clear();
        else
            set(o.m_type, o.m_data, o.m_count);
    }

    Type m_type = kEmpty;
    unsigned char* m_data = nullptr;
    uint32_t m_count = 0;
};

// Compares after lower-casing in the current locale, as signed characters: -1, 0 or 1.
inline int __stricmp(const char* a, const char* b) {
    for (;; ++a, ++b) {
        signed char ca = static_cast<signed char>(std::tolower(static_cast<unsigned char>(*a)));
        signed char cb = static_cast<signed char>(std::tolower(static_cast<unsigned char>(*b)));
        if (ca < cb) return -1;
        if (ca > cb) return 1;
        if (ca == 0) return 0;
    }
}

#endif
