#include "PartialFile.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "Interrupt.h"

namespace vxtool {
namespace {

constexpr int kMostLinks = 40;

// Two workers may write targets of the same name into one folder only through different
// paths, but a number of our own keeps even those apart.
std::atomic<unsigned> g_partials{0};

std::string Folder(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

std::string TempFolder() {
    const char* dir = std::getenv("TMPDIR");
    std::string folder = dir != nullptr && *dir != 0 ? dir : "/tmp";
    return folder.back() == '/' ? folder : folder + "/";
}

std::string PartialName(const std::string& folder, const std::string& name) {
    return folder + ".vxpart-" + std::to_string(long(::getpid())) + "-" +
           std::to_string(g_partials.fetch_add(1)) + "-" + name;
}

bool WriteAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= size_t(n);
    }
    return true;
}

}  // namespace

std::string FollowLinks(const std::string& path) {
    std::string current = path;
    for (int i = 0; i < kMostLinks; ++i) {
        char link[PATH_MAX];
        const ssize_t n = ::readlink(current.c_str(), link, sizeof link - 1);
        if (n <= 0) return current;
        link[n] = 0;
        current = link[0] == '/' ? std::string(link) : Folder(current) + link;
    }
    return current;
}

CPartialFile::CPartialFile(const std::string& target) : m_target(target) {
    if (target == "-") {
        m_road = Road::kStandardOutput;
        m_path = PartialName(TempFolder(), "stdout");
        CInterruptGuard::Watch(m_path);
        return;
    }
    m_final = FollowLinks(target);
    struct stat st;
    if (::stat(m_final.c_str(), &st) == 0 && !S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode)) {
        m_road = Road::kInPlace;
        m_path = m_final;
        return;
    }
    if (::stat(m_final.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
        m_keepMode = true;
        m_mode = unsigned(st.st_mode & 07777);
        m_owner = st.st_uid;
        m_group = st.st_gid;
    }
    PlaceBeside(m_final);
}

void CPartialFile::PlaceBeside(const std::string& file) {
    const size_t slash = file.rfind('/');
    m_path = PartialName(Folder(file), slash == std::string::npos ? file : file.substr(slash + 1));
    CInterruptGuard::Watch(m_path);
}

CPartialFile::~CPartialFile() {
    Discard();
}

bool CPartialFile::CopyToStandardOutput() const {
    const int fd = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    char buffer[1 << 16];
    bool ok = true;
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            ok = n == 0;
            break;
        }
        if (!WriteAll(STDOUT_FILENO, buffer, size_t(n))) {
            ok = false;
            break;
        }
    }
    ::close(fd);
    return ok;
}

// Only root can hand the file back to its owner; anyone else's file becomes their own, as an
// editor's "save" makes it.
void CPartialFile::KeepOwnerAndMode() const {
    if (::geteuid() == 0) {
        const bool handedBack = ::chown(m_path.c_str(), m_owner, m_group) == 0;
        (void)handedBack;
    }
    ::chmod(m_path.c_str(), m_mode);
}

bool CPartialFile::Commit() {
    if (!m_open) return false;
    m_open = false;
    if (m_road == Road::kInPlace) return true;
    bool placed;
    if (m_road == Road::kStandardOutput) {
        placed = CopyToStandardOutput();
        std::remove(m_path.c_str());
    } else {
        if (m_keepMode) KeepOwnerAndMode();
        placed = std::rename(m_path.c_str(), m_final.c_str()) == 0;
        if (!placed) std::remove(m_path.c_str());
    }
    CInterruptGuard::Unwatch(m_path);
    return placed;
}

// A device or FIFO written in place keeps what reached it: there is nothing to take back.
void CPartialFile::Discard() {
    if (!m_open) return;
    m_open = false;
    if (m_road == Road::kInPlace) return;
    std::remove(m_path.c_str());
    CInterruptGuard::Unwatch(m_path);
}

}  // namespace vxtool
