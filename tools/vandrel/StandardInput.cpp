#include "StandardInput.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "Interrupt.h"

namespace vxtool {
namespace {

bool CopyAll(int from, int to) {
    std::vector<char> buffer(size_t(1) << 16);
    for (;;) {
        ssize_t n = ::read(from, buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) continue;
        if (n == 0) return true;
        if (n < 0) return false;
        for (const char* p = buffer.data(); n > 0;) {
            const ssize_t written = ::write(to, p, size_t(n));
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return false;
            p += written;
            n -= written;
        }
    }
}

}  // namespace

CStandardInput::~CStandardInput() {
    if (m_path.empty()) return;
    std::remove(m_path.c_str());
    CInterruptGuard::Unwatch(m_path);
}

bool CStandardInput::Take() {
    const char* dir = std::getenv("TMPDIR");
    std::string name = dir != nullptr && *dir != 0 ? dir : "/tmp";
    if (name.back() != '/') name += '/';
    name += "vxstdin-XXXXXX";
    const int fd = ::mkstemp(&name[0]);
    if (fd < 0) return false;
    m_path = name;
    CInterruptGuard::Watch(m_path);
    const bool copied = CopyAll(STDIN_FILENO, fd);
    return ::close(fd) == 0 && copied;
}

std::string CStandardInput::Shown(std::string text) const {
    if (m_path.empty()) return text;
    for (size_t at = text.find(m_path); at != std::string::npos; at = text.find(m_path, at + 1))
        text.replace(at, m_path.size(), "-");
    return text;
}

}  // namespace vxtool
