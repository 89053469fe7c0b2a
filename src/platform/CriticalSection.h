// The service guard. The service is used by one thread at a time, so the guard locks nothing;
// it exists so that every place that would need a lock already names one. A port that wants
// real exclusion gives CSData a recursive mutex and locks it in the guard.
#ifndef VANDREL_PLATFORM_CRITICALSECTION_H
#define VANDREL_PLATFORM_CRITICALSECTION_H

struct CSData {};

// Null when the lock cannot be made.
CSData* UInitializeCriticalSection();
void UDeleteCriticalSection(CSData* data);

class CriticalSection {
public:
    explicit CriticalSection(CSData* data) : m_data(data) {}
    ~CriticalSection() {}
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

private:
    CSData* m_data;
};

#endif
