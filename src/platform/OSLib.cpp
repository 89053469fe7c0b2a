#include "platform/OSLib.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "vandrel/Variant.h"

namespace OSLib {
namespace {

constexpr size_t kTempPathCapacity = 1024;
constexpr size_t kExtensionEntryCapacity = 64;

int DescriptorOf(void* handle) {
    intptr_t h = reinterpret_cast<intptr_t>(handle);
    return h < 1 ? -1 : int(h - 1);
}

void* HandleOf(int fd) {
    return reinterpret_cast<void*>(intptr_t(fd) + 1);
}

int OpenDescriptor(const char* path, int flags, mode_t mode = 0666) {
    int fd;
    do {
        fd = ::open(path, flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

bool IsRegularOrMissing(const char* path) {
    struct stat st;
    if (::stat(path, &st) != 0) return true;
    return !S_ISDIR(st.st_mode);
}

int64_t FileSize(int fd) {
    struct stat st;
    if (::fstat(fd, &st) != 0) return -1;
    return st.st_size;
}

int32_t ReadNumber(const char* text, size_t position) {
    if (std::strlen(text) < position) return 0;
    return int32_t(std::strtoul(text + position, nullptr, 10));
}

}  // namespace

int32_t VxFopen(void** handle, const char* path, const char* mode) {
    if (handle == nullptr || path == nullptr || *path == 0 || mode == nullptr || *mode == 0)
        return 0;
    // A 'b' anywhere is ignored, so "rb+" is "r+".
    const char* second = mode + 1;
    while (*second == 'b')
        ++second;
    const bool plus = *second == '+';
    int flags;
    switch (mode[0]) {
        case 'r':
            flags = plus ? O_RDWR : O_RDONLY;
            break;
        case 'w':
            if (VxFexist(path)) VxFdelete(path);
            flags = O_RDWR | O_CREAT | O_EXCL;
            break;
        case 'a':
            flags = O_RDWR | O_CREAT;
            break;
        default:
            return 0;
    }
    // A directory is not a file, even where open() would accept it read-only.
    if (!IsRegularOrMissing(path)) return 0;
    int fd = OpenDescriptor(path, flags);
    if (fd < 0) return 0;
    *handle = HandleOf(fd);
    return 1;
}

int32_t VxFclose(void* handle) {
    int fd = DescriptorOf(handle);
    if (fd >= 0) ::close(fd);
    return 1;
}

int32_t VxFread(void* handle, void* buffer, uint32_t size) {
    int fd = DescriptorOf(handle);
    if (fd < 0 || buffer == nullptr) return 0;
    size_t done = 0;
    while (done < size) {
        ssize_t n = ::read(fd, static_cast<char*>(buffer) + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return 0;
        if (n == 0) break;
        done += size_t(n);
    }
    return int32_t(done);
}

int32_t VxFwrite(void* handle, const void* buffer, uint32_t size) {
    int fd = DescriptorOf(handle);
    if (fd < 0 || buffer == nullptr) return 0;
    size_t done = 0;
    while (done < size) {
        ssize_t n = ::write(fd, static_cast<const char*>(buffer) + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return 0;
        done += size_t(n);
    }
    return int32_t(done);
}

int32_t VxFseek(void* handle, int32_t offset, VxfsOrigin origin, int32_t* newPosition) {
    int fd = DescriptorOf(handle);
    if (fd < 0) return 0;
    const int64_t size = FileSize(fd);
    if (size < 0) return 0;
    int64_t target;
    switch (origin) {
        case kVxFromEnd:
            target = size + offset;
            break;
        case kVxFromMark: {
            off_t here = ::lseek(fd, 0, SEEK_CUR);
            if (here < 0) return 0;
            target = here + offset;
            break;
        }
        case kVxFromStart:
            target = offset;
            break;
        default:
            return 0;  // the host knows no other position mode
    }
    if (target < 0) return 0;
    if (target > size) {
        // Extend the file; the position stays at the old end, as a refused seek leaves it.
        if (::ftruncate(fd, off_t(target)) != 0) return 0;
        if (::lseek(fd, off_t(size), SEEK_SET) < 0) return 0;
    } else if (::lseek(fd, off_t(target), SEEK_SET) < 0) {
        return 0;
    }
    if (newPosition != nullptr) *newPosition = VxFtell(handle);
    return 1;
}

int32_t VxFtell(void* handle) {
    int fd = DescriptorOf(handle);
    if (fd < 0) return -1;
    off_t here = ::lseek(fd, 0, SEEK_CUR);
    if (here < 0) return -1;
    return int32_t(uint32_t(uint64_t(here) & 0xFFFFFFFFu));
}

int32_t VxFflush(void* handle) {
    int fd = DescriptorOf(handle);
    if (fd >= 0) ::fsync(fd);
    return 1;
}

int32_t VxFdelete(const char* path) {
    if (path == nullptr || *path == 0) return 0;
    return ::unlink(path) == 0 ? 1 : 0;
}

int32_t VxFgetstat(const char* path, _VxFstat* out) {
    if (path == nullptr || out == nullptr) return 0;
    struct statx sx;
    if (::statx(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0)
        return 0;
    out->lSize = uint32_t(sx.stx_size);
    out->lAccessTime = 0;
    out->lModifyTime = int32_t(sx.stx_mtime.tv_sec);
    out->lCreateTime =
        (sx.stx_mask & STATX_BTIME) ? int32_t(sx.stx_btime.tv_sec) : int32_t(sx.stx_mtime.tv_sec);
    out->wPermissions = uint16_t(sx.stx_mode & 07777);
    return 1;
}

int32_t VxFstrtotime(const char* text, int32_t* time) {
    if (text == nullptr || time == nullptr) return 1;
    struct tm t;
    std::memset(&t, 0, sizeof t);
    t.tm_year = ReadNumber(text, 0) - 1900;
    t.tm_mon = ReadNumber(text, 5) - 1;
    t.tm_mday = ReadNumber(text, 8);
    t.tm_hour = ReadNumber(text, 11);
    t.tm_min = ReadNumber(text, 14);
    t.tm_sec = ReadNumber(text, 17);
    t.tm_isdst = 0;  // standard time, deliberately not "unknown"
    *time = int32_t(std::mktime(&t));
    return 1;
}

int32_t VxFexist(const char* path) {
    if (path == nullptr || *path == 0) return 0;
    struct stat st;
    return ::lstat(path, &st) == 0 ? 1 : 0;
}

const char* VxTempDirectory() {
    const char* dir = std::getenv("TMPDIR");
    return (dir != nullptr && *dir != 0) ? dir : "/tmp";
}

int32_t VxFtempfile(char* path, const char* prefix, const char* extension) {
    if (path == nullptr) return 0;
    if (prefix == nullptr) prefix = "vxtmp";
    if (extension == nullptr) extension = ".tmp";
    const long seconds = long(std::time(nullptr));
    std::string dir = VxTempDirectory();
    if (dir.size() > 1 && dir.back() == '/') dir.pop_back();
    char name[kTempPathCapacity];
    for (int n = 0; n <= 999999; ++n) {
        int len = std::snprintf(name, sizeof name, "%s/%s%ld%06d%s", dir.c_str(), prefix, seconds,
                                n, extension);
        if (len < 0 || size_t(len) >= sizeof name) return 0;
        if (!VxFexist(name)) {
            std::memcpy(path, name, size_t(len) + 1);
            return 1;
        }
    }
    return 0;
}

int32_t VxFcreatetemp(void** handle, char* path, const char* prefix, const char* extension) {
    if (handle == nullptr || path == nullptr) return 0;
    // Another process may take the name found free before it is created; each clash moves on
    // to a fresh name, a bounded number of times.
    constexpr int kAttempts = 100;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        char name[kTempPathCapacity];
        if (!VxFtempfile(name, prefix, extension)) return 0;
        const int fd = OpenDescriptor(name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
        if (fd >= 0) {
            std::memcpy(path, name, std::strlen(name) + 1);
            *handle = HandleOf(fd);
            return 1;
        }
        if (errno != EEXIST) return 0;
    }
    return 0;
}

int32_t VxFconfext(const char* path, const char* extensionList) {
    if (path == nullptr || extensionList == nullptr) return 0;
    // The extension starts at the last dot of the whole path, which may lie in a folder name
    // ("/a.b/file" has ".b"); it ends where that path component ends.
    const char* dot = std::strrchr(path, '.');
    char extension[256] = "";
    if (dot != nullptr) {
        size_t length = std::strcspn(dot, "/");
        if (length >= sizeof extension) length = sizeof extension - 1;
        std::memcpy(extension, dot, length);
        extension[length] = 0;
    }
    // No four-character type codes on this platform: only extension entries can match.
    const char* entry = extensionList;
    while (*entry != 0) {
        const char* end = std::strchr(entry, ';');
        size_t length = end != nullptr ? size_t(end - entry) : std::strlen(entry);
        char buffer[kExtensionEntryCapacity];
        size_t kept = length < kExtensionEntryCapacity - 1 ? length : kExtensionEntryCapacity - 1;
        std::memcpy(buffer, entry, kept);
        buffer[kept] = 0;
        if (buffer[0] == '.' && __stricmp(buffer, extension) == 0) return 1;
        if (end == nullptr) break;
        entry = end + 1;
    }
    return 0;
}

}  // namespace OSLib
