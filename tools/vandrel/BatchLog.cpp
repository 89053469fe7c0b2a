#include "BatchLog.h"

namespace vxtool {

CBatchLog::CBatchLog(std::ostream& err, size_t total, bool draw)
    : m_err(err), m_total(total), m_draw(draw) {
    std::lock_guard<std::mutex> lock(m_lock);
    DrawLocked();
}

void CBatchLog::Report(const std::string& lines, bool fileDone) {
    std::lock_guard<std::mutex> lock(m_lock);
    if (fileDone) ++m_done;
    if (!lines.empty()) {
        if (m_drawn) m_err << "\r\033[K";  // the messages take the progress line's place
        m_drawn = false;
        m_err << lines;
    }
    DrawLocked();
    m_err.flush();
}

void CBatchLog::Close() {
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_drawn) return;
    m_err << "\n";
    m_err.flush();
    m_drawn = false;
}

void CBatchLog::DrawLocked() {
    if (!m_draw) return;
    m_err << "\r" << m_done << "/" << m_total << " files";
    m_drawn = true;
}

}  // namespace vxtool
