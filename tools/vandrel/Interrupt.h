// Ctrl-C for the tool: the first interrupt asks the running request to cancel (the progress
// callback answers 0 from then on); a second one removes the partial outputs at once and leaves.
#ifndef VANDREL_TOOL_INTERRUPT_H
#define VANDREL_TOOL_INTERRUPT_H

#include <csignal>
#include <string>

namespace vxtool {

// Installs the handlers for SIGINT and SIGTERM while it lives; the previous ones come back after.
class CInterruptGuard {
public:
    CInterruptGuard();
    ~CInterruptGuard();
    CInterruptGuard(const CInterruptGuard&) = delete;
    CInterruptGuard& operator=(const CInterruptGuard&) = delete;

    static bool Requested();
    // For tests: behave as if an interrupt had arrived, or forget that one did.
    static void Raise();
    static void Reset();

    // A file the second interrupt removes (a few at a time); false when no slot is free.
    static bool Watch(const std::string& path);
    static void Unwatch(const std::string& path);

private:
    struct sigaction m_oldInt;
    struct sigaction m_oldTerm;
};

}  // namespace vxtool

#endif
