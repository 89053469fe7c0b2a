// Helpers shared by the test suites: scratch folders that clean up after themselves and the
// location of the real-world test corpus.
#ifndef VANDREL_TESTS_TESTSUPPORT_H
#define VANDREL_TESTS_TESTSUPPORT_H

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace vxtest {

// A fresh folder under the system temporary folder, removed with everything in it.
class ScratchDir {
public:
    ScratchDir() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/vxtest-XXXXXX";
        std::vector<char> buf(pattern.begin(), pattern.end());
        buf.push_back(0);
        char* made = ::mkdtemp(buf.data());
        m_path = made ? made : "";
    }
    ~ScratchDir() {
        if (!m_path.empty()) std::system(("rm -rf '" + m_path + "'").c_str());
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

inline void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline bool Exists(const std::string& path) {
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0;
}

// The real-world corpus beside the repository ($VANDREL_TESTDATA overrides); empty when absent.
inline std::string TestDataDir() {
    const char* env = std::getenv("VANDREL_TESTDATA");
    std::string dir = (env && *env) ? env : VANDREL_TESTDATA_DIR;
    struct stat st;
    return (::stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) ? dir : std::string();
}

}  // namespace vxtest

#endif
