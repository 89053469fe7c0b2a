#include "FormatTable.h"

#include <algorithm>
#include <cctype>
#include <mutex>
#include <sstream>

namespace vxtool {
namespace {

std::vector<std::string> Words(const char* text) {
    std::vector<std::string> words;
    std::istringstream in(text != nullptr ? text : "");
    std::string word;
    while (in >> word)
        words.push_back(word);
    return words;
}

std::string Lower(std::string text) {
    for (char& c : text)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string Upper(std::string text) {
    for (char& c : text)
        c = char(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::vector<std::string> ListEntries(const std::string& list) {
    std::vector<std::string> entries;
    std::string entry;
    for (char c : list) {
        if (c == ';') {
            if (!entry.empty()) entries.push_back(entry);
            entry.clear();
        } else {
            entry += c;
        }
    }
    if (!entry.empty()) entries.push_back(entry);
    return entries;
}

// The service keeps one shared text for these answers, shared even between service objects:
// take a copy at once, under this lock when several threads convert.
std::string Copy(const char* text) {
    return text != nullptr ? std::string(text) : std::string();
}

std::mutex g_sharedTextLock;

}  // namespace

std::string ExtensionOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    if (dot == (slash == std::string::npos ? 0 : slash + 1)) return "";  // ".hidden"
    return Lower(path.substr(dot));
}

bool ServiceKnowsFormat(IVandrelIF* service, const std::string& formatName) {
    std::lock_guard<std::mutex> lock(g_sharedTextLock);
    return service->GetDecoderVersion(formatName.c_str()) != nullptr;
}

CFormatTable::CFormatTable(IVandrelIF* service) : m_service(service) {
    if (service == nullptr) return;
    std::lock_guard<std::mutex> lock(g_sharedTextLock);
    auto entryFor = [this](const std::string& name) -> CFormatEntry& {
        for (CFormatEntry& e : m_entries)
            if (e.name == name) return e;
        m_entries.push_back(CFormatEntry());
        m_entries.back().name = name;
        return m_entries.back();
    };
    for (const std::string& name : Words(service->GetSupportedReadingType()))
        entryFor(name).reads = true;
    for (const std::string& name : Words(service->GetSupportedWritingType()))
        entryFor(name).writes = true;
    for (CFormatEntry& e : m_entries) {
        e.extensions = Copy(service->GetExtensionName(e.name.c_str()));
        e.version = Copy(service->GetDecoderVersion(e.name.c_str()));
    }
}

std::string CFormatTable::DottedExtensions(const std::string& list) {
    std::string dotted;
    for (const std::string& entry : ListEntries(list)) {
        if (entry[0] != '.') continue;
        if (!dotted.empty()) dotted += ' ';
        dotted += entry;
    }
    return dotted;
}

std::string CFormatTable::FormatForPath(const std::string& path) const {
    const std::string ext = ExtensionOf(path);
    if (ext.size() < 2 || m_service == nullptr) return "";
    const std::string asName = Upper(ext.substr(1));
    for (const CFormatEntry& e : m_entries) {
        if (!e.writes) continue;
        const std::vector<std::string> entries = ListEntries(e.extensions);
        const bool listed = std::any_of(entries.begin(), entries.end(),
                                        [&](const std::string& x) { return Lower(x) == ext; });
        if (!listed) continue;
        // A plug-in that also answers to the extension as a format name ("PGM") writes that
        // variant; otherwise its own writing type.
        return ServiceKnowsFormat(m_service, asName) ? asName : e.name;
    }
    return "";
}

}  // namespace vxtool
