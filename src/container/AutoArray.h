// An owning array of default-constructed elements. Allocation failure is an answer (0), never
// an exception, so that containers can report it as a status code.
#ifndef VANDREL_CONTAINER_AUTOARRAY_H
#define VANDREL_CONTAINER_AUTOARRAY_H

#include <cstddef>
#include <cstdint>
#include <new>

template <class T>
class CAutoArray {
public:
    CAutoArray() = default;
    virtual ~CAutoArray() { Free(); }
    CAutoArray(const CAutoArray&) = delete;
    CAutoArray& operator=(const CAutoArray&) = delete;

    // 1 when the array ends up holding elements, else 0. A count below 1 answers 1 and keeps
    // whatever the array held, so a zero-sized request never costs an allocation. Otherwise the
    // old elements go first (in reverse order), then count new ones are made. Elements of
    // trivial types (char, pointers) are left uninitialised, as new[] leaves them.
    int Create(int32_t count) {
        if (count < 1) return 1;
        Free();
        try {
            m_pData = new T[size_t(count)];
        } catch (const std::bad_alloc&) {
            m_pData = nullptr;
        }
        if (m_pData == nullptr) return 0;
        m_lCount = count;
        return 1;
    }

    void Free() {
        delete[] m_pData;
        m_pData = nullptr;
        m_lCount = 0;
    }

    T* Get() const { return m_pData; }
    int32_t Count() const { return m_lCount; }
    T& operator[](int32_t index) const { return m_pData[index]; }

private:
    T* m_pData = nullptr;
    int32_t m_lCount = 0;
};

#endif
