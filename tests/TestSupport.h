// Helpers shared by the test suites: scratch folders that clean up after themselves, the
// location of the real-world test corpus and the reading of its manifests.
#ifndef VANDREL_TESTS_TESTSUPPORT_H
#define VANDREL_TESTS_TESTSUPPORT_H

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
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

// Rows of a tab-separated manifest, the first row naming the columns.
inline std::vector<std::map<std::string, std::string>> ReadManifest(const std::string& path) {
    std::istringstream in(ReadFile(path));
    std::vector<std::string> header;
    std::vector<std::map<std::string, std::string>> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.empty()) continue;
        std::vector<std::string> cells;
        std::istringstream fields(line);
        for (std::string cell; std::getline(fields, cell, '\t');)
            cells.push_back(cell);
        if (header.empty()) {
            header = cells;
            continue;
        }
        std::map<std::string, std::string> row;
        for (size_t i = 0; i < header.size() && i < cells.size(); ++i)
            row[header[i]] = cells[i];
        rows.push_back(row);
    }
    return rows;
}

}  // namespace vxtest

#endif
