#include "ProgressBar.h"

#include "Interrupt.h"

namespace vxtool {
namespace {

constexpr int kBarWidth = 32;

}  // namespace

CProgressBar::CProgressBar(std::FILE* out, bool draw)
    : m_out(out), m_draw(draw && out != nullptr) {}

const char* CProgressBar::StageName(Process stage) {
    switch (stage) {
        case ProcessDecode:
            return "decode";
        case ProcessEncode:
            return "encode";
        case ProcessResize:
            return "resize";
        case ProcessRotate:
            return "rotate";
    }
    return "work";
}

int32_t CProgressBar::Answer() const {
    return CInterruptGuard::Requested() ? 0 : 1;
}

int32_t CProgressBar::Start(int32_t totalSteps) {
    if (totalSteps > 0) m_total += uint64_t(totalSteps);
    return Answer();
}

int32_t CProgressBar::Finish() {
    return Answer();
}

int32_t CProgressBar::BeginProcess(Process stage) {
    m_stage = StageName(stage);
    ++m_stages;
    Draw();
    return Answer();
}

int32_t CProgressBar::Progress(uint32_t steps) {
    m_done += steps;
    Draw();
    return Answer();
}

int32_t CProgressBar::EndProcess() {
    Draw();
    return Answer();
}

void CProgressBar::Draw() {
    if (!m_draw) return;
    const uint64_t done = m_done < m_total ? m_done : m_total;
    const int percent = m_total == 0 ? 0 : int(done * 100 / m_total);
    if (percent == m_shownPercent && m_stage == m_shownStage) return;
    m_shownPercent = percent;
    m_shownStage = m_stage;
    char bar[kBarWidth + 1];
    const int filled = percent * kBarWidth / 100;
    for (int i = 0; i < kBarWidth; ++i)
        bar[i] = i < filled ? '#' : '.';
    bar[kBarWidth] = 0;
    std::fprintf(m_out, "\r%-7s [%s] %3d%%", m_stage, bar, percent);
    std::fflush(m_out);
    m_drawn = true;
}

void CProgressBar::Complete() {
    if (m_done < m_total) m_done = m_total;
    Draw();
}

void CProgressBar::Close() {
    if (!m_drawn) return;
    std::fputc('\n', m_out);
    std::fflush(m_out);
    m_drawn = false;
}

}  // namespace vxtool
