// The file layer: every file the library touches goes through these functions. Handles are
// opaque and always >= 1 when open (a descriptor plus one); anything below 1 means "no file"
// and is harmless everywhere.
#ifndef VANDREL_PLATFORM_OSLIB_H
#define VANDREL_PLATFORM_OSLIB_H

#include <cstdint>

namespace OSLib {

enum VxfsOrigin { kVxFromStart = 1, kVxFromEnd = 2, kVxFromMark = 3 };

struct _VxFstat {
    int32_t lCreateTime;    // seconds since 1970 (birth time where the file system keeps it)
    int32_t lAccessTime;    // always 0
    int32_t lModifyTime;    // seconds since 1970
    uint32_t lSize;         // bytes
    uint16_t wPermissions;  // POSIX permission bits
};

// Modes: "r" read-only, "r+" read-write, "w" delete then create empty, "a" open or create.
// There is no append behaviour: the position starts at 0 for every mode.
int32_t VxFopen(void** handle, const char* path, const char* mode);
int32_t VxFclose(void* handle);
// Bytes transferred; a short read at the end of the file is not an error.
int32_t VxFread(void* handle, void* buffer, uint32_t size);
int32_t VxFwrite(void* handle, const void* buffer, uint32_t size);
// A target beyond the end of the file extends the file to it.
int32_t VxFseek(void* handle, int32_t offset, VxfsOrigin origin, int32_t* newPosition);
int32_t VxFtell(void* handle);
int32_t VxFflush(void* handle);
int32_t VxFdelete(const char* path);
int32_t VxFgetstat(const char* path, _VxFstat* stat);
// Parses "YYYY:MM:DD HH:MM:SS" as local standard time.
int32_t VxFstrtotime(const char* text, int32_t* time);
int32_t VxFexist(const char* path);
// Finds an unused name "<tmpdir>/<prefix><seconds><6 digits><extension>"; creates nothing.
int32_t VxFtempfile(char* path, const char* prefix, const char* extension);
// Creates a scratch file under the same naming scheme and opens it for reading and writing:
// created exclusively (a name that appears between the test and the creation is skipped for
// the next one), never through a symbolic link, readable by its owner only. 1/0; on success
// the name goes to path (1024 bytes) and the handle to *handle.
int32_t VxFcreatetemp(void** handle, char* path, const char* prefix, const char* extension);
// 1 when the file's extension (from the last '.' of the whole path) is in the ';' list.
int32_t VxFconfext(const char* path, const char* extensionList);

// The folder temporary files go to: $TMPDIR when set and not empty, else /tmp.
const char* VxTempDirectory();

}  // namespace OSLib

#endif
