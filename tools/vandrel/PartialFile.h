// An output written under a temporary name beside its target and renamed into place only when
// complete, so a failed or cancelled command never leaves a half-written file.
#ifndef VANDREL_TOOL_PARTIALFILE_H
#define VANDREL_TOOL_PARTIALFILE_H

#include <string>

namespace vxtool {

class CPartialFile {
public:
    // "dir/name.png" is written as "dir/.vxpart-<pid>-name.png": same folder (so the rename
    // stays on one file system) and same extension.
    explicit CPartialFile(const std::string& target);
    // Removes the temporary file unless it was committed.
    ~CPartialFile();
    CPartialFile(const CPartialFile&) = delete;
    CPartialFile& operator=(const CPartialFile&) = delete;

    const std::string& path() const { return m_path; }
    const std::string& target() const { return m_target; }
    // Renames the temporary file onto the target; false (and the temporary removed) on failure.
    bool Commit();
    void Discard();

private:
    std::string m_target;
    std::string m_path;
    bool m_open = true;
};

}  // namespace vxtool

#endif
