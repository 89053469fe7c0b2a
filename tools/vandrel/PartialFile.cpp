#include "PartialFile.h"

#include <unistd.h>

#include <cstdio>

#include "Interrupt.h"

namespace vxtool {

CPartialFile::CPartialFile(const std::string& target) : m_target(target) {
    const size_t slash = target.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : target.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
    m_path = folder + ".vxpart-" + std::to_string(long(::getpid())) + "-" + name;
    CInterruptGuard::Watch(m_path);
}

CPartialFile::~CPartialFile() {
    Discard();
}

bool CPartialFile::Commit() {
    if (!m_open) return false;
    const bool moved = std::rename(m_path.c_str(), m_target.c_str()) == 0;
    if (!moved) std::remove(m_path.c_str());
    CInterruptGuard::Unwatch(m_path);
    m_open = false;
    return moved;
}

void CPartialFile::Discard() {
    if (!m_open) return;
    std::remove(m_path.c_str());
    CInterruptGuard::Unwatch(m_path);
    m_open = false;
}

}  // namespace vxtool
