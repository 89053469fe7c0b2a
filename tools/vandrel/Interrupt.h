// Ctrl-C for the tool: the first interrupt asks the running requests to cancel (the progress
// callbacks answer 0 from then on); a second one removes the partial outputs at once and leaves.
// SIGTERM, SIGHUP (the terminal went away) and SIGQUIT count as interrupts too.
#ifndef VANDREL_TOOL_INTERRUPT_H
#define VANDREL_TOOL_INTERRUPT_H

#include <csignal>
#include <cstddef>
#include <string>

namespace vxtool {

// Installs the handlers while it lives; the previous ones come back after.
class CInterruptGuard {
public:
    // Partial files that may be watched at once: two per worker (image and alpha plane).
    static constexpr int kMostWatchers = 64;

    CInterruptGuard();
    ~CInterruptGuard();
    CInterruptGuard(const CInterruptGuard&) = delete;
    CInterruptGuard& operator=(const CInterruptGuard&) = delete;

    static bool Requested();
    // 128 + the first signal that arrived (130 for Ctrl-C, also when none did).
    static int ExitStatus();
    // For tests: behave as if an interrupt had arrived, or forget that one did.
    static void Raise();
    static void Reset();

    // A file the second interrupt removes; false when no slot is free. Any thread.
    static bool Watch(const std::string& path);
    static void Unwatch(const std::string& path);

private:
    static constexpr size_t kSignals = 4;
    struct sigaction m_old[kSignals];
};

}  // namespace vxtool

#endif
