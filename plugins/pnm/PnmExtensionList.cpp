#include "PnmExtensionList.h"

#include <strings.h>

#include <cstring>

namespace {

// Entries are cut to this length, terminator included.
constexpr size_t kEntryCapacity = 64;
constexpr size_t kExtensionCapacity = 256;

}  // namespace

bool CPnmExtensionList::Add(const char* entry) {
    if (entry == nullptr || *entry == 0) return false;
    if (!m_text.empty() && m_text.back() != ';') m_text += ';';
    m_text += entry;
    m_text += ';';
    return true;
}

bool CPnmExtensionList::Matches(const char* path) const {
    if (path == nullptr) return false;
    const char* dot = std::strrchr(path, '.');
    if (dot == nullptr) return false;
    char extension[kExtensionCapacity];
    size_t length = std::strcspn(dot, "/");
    if (length >= kExtensionCapacity) length = kExtensionCapacity - 1;
    std::memcpy(extension, dot, length);
    extension[length] = 0;

    const char* entry = m_text.c_str();
    while (*entry != 0) {
        const char* end = std::strchr(entry, ';');
        size_t entryLength = end != nullptr ? size_t(end - entry) : std::strlen(entry);
        char buffer[kEntryCapacity];
        size_t kept = entryLength < kEntryCapacity - 1 ? entryLength : kEntryCapacity - 1;
        std::memcpy(buffer, entry, kept);
        buffer[kept] = 0;
        if (buffer[0] == '.' && ::strcasecmp(buffer, extension) == 0) return true;
        if (end == nullptr) break;
        entry = end + 1;
    }
    return false;
}
