#include "platform/CriticalSection.h"

#include <new>

CSData* UInitializeCriticalSection() { return new (std::nothrow) CSData; }

void UDeleteCriticalSection(CSData* data) { delete data; }
