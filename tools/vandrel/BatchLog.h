// What a batch of conversions prints on stderr from several threads: each file's messages as
// whole lines, never cut into by another's, and (when drawn) one progress line "done/total"
// kept below them.
#ifndef VANDREL_TOOL_BATCHLOG_H
#define VANDREL_TOOL_BATCHLOG_H

#include <cstddef>
#include <mutex>
#include <ostream>
#include <string>

namespace vxtool {

class CBatchLog {
public:
    // draw: keep a progress line (stderr is a terminal and --progress was given).
    CBatchLog(std::ostream& err, size_t total, bool draw);
    ~CBatchLog() { Close(); }
    CBatchLog(const CBatchLog&) = delete;
    CBatchLog& operator=(const CBatchLog&) = delete;

    // lines: complete lines (may be empty); fileDone counts one more file as finished.
    void Report(const std::string& lines, bool fileDone);
    // Ends the progress line, if one is drawn.
    void Close();

private:
    void DrawLocked();

    std::mutex m_lock;
    std::ostream& m_err;
    size_t m_total;
    size_t m_done = 0;
    bool m_draw;
    bool m_drawn = false;
};

}  // namespace vxtool

#endif
