// An output written under a temporary name beside its target and renamed into place only when
// complete, so a failed or cancelled command never leaves a half-written file.
//
// What the target is decides the road: a path that does not exist yet or names a regular file
// (through any symbolic links: the file the links lead to is replaced, the links stay, and
// the file keeps its permissions) goes through a temporary beside it; a device, a FIFO or a
// socket is written in place, since renaming over it would replace it by a regular file; "-"
// is standard output, written from a temporary in the temporary folder once complete.
#ifndef VANDREL_TOOL_PARTIALFILE_H
#define VANDREL_TOOL_PARTIALFILE_H

#include <sys/types.h>

#include <string>

namespace vxtool {

class CPartialFile {
public:
    // "dir/name.png" is written as "dir/.vxpart-<pid>-<n>-name.png": same folder (so the
    // rename stays on one file system) and same extension.
    explicit CPartialFile(const std::string& target);
    // Removes the temporary file unless it was committed.
    ~CPartialFile();
    CPartialFile(const CPartialFile&) = delete;
    CPartialFile& operator=(const CPartialFile&) = delete;

    // Where the writer writes.
    const std::string& path() const { return m_path; }
    const std::string& target() const { return m_target; }
    // Puts the written file in place; false (and the temporary removed) on failure.
    bool Commit();
    void Discard();

private:
    enum class Road { kRename, kInPlace, kStandardOutput };

    void PlaceBeside(const std::string& file);
    bool CopyToStandardOutput() const;
    void KeepOwnerAndMode() const;

    std::string m_target;
    std::string m_path;
    std::string m_final;  // the file the rename lands on: the target with its links followed
    Road m_road = Road::kRename;
    bool m_keepMode = false;
    unsigned m_mode = 0;
    uid_t m_owner = 0;
    gid_t m_group = 0;
    bool m_open = true;
};

// The file a path leads to through its symbolic links (at most a few levels); the path itself
// when it is not a link.
std::string FollowLinks(const std::string& path);

}  // namespace vxtool

#endif
