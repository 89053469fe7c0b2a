// The macro object's progress callback as a bar on stderr, and the tool's way to cancel: every
// answer turns to 0 once an interrupt has arrived.
#ifndef VANDREL_TOOL_PROGRESSBAR_H
#define VANDREL_TOOL_PROGRESSBAR_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "vandrel/MacroCallback.h"

namespace vxtool {

class CProgressBar : public IMacroCallback {
public:
    // draw false keeps it silent (not a terminal, or no --progress) but still able to cancel.
    CProgressBar(std::FILE* out, bool draw);
    ~CProgressBar() override { Close(); }

    /* 0 */ int32_t Start(int32_t totalSteps) override;
    /* 1 */ int32_t Finish() override;
    /* 2 */ int32_t BeginProcess(Process stage) override;
    /* 3 */ int32_t Progress(uint32_t steps) override;
    /* 4 */ int32_t EndProcess() override;

    // Shows the bar full: some pipelines announce more steps than they report.
    void Complete();
    // Ends the bar's line, if one was drawn.
    void Close();

    // Steps reported against the steps announced, over every request run with this bar.
    uint64_t done() const { return m_done; }
    uint64_t total() const { return m_total; }
    int32_t stages() const { return m_stages; }

    static const char* StageName(Process stage);

private:
    int32_t Answer() const;
    void Draw();

    std::FILE* m_out;
    bool m_draw;
    bool m_drawn = false;
    uint64_t m_total = 0;
    uint64_t m_done = 0;
    int32_t m_stages = 0;
    int m_shownPercent = -1;
    const char* m_stage = "";
    const char* m_shownStage = nullptr;
};

}  // namespace vxtool

#endif
