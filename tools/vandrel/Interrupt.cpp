#include "Interrupt.h"

#include <limits.h>
#include <unistd.h>

#include <cstring>
#include <mutex>

namespace vxtool {
namespace {

// A closed terminal (SIGHUP) and Ctrl-\ (SIGQUIT) end the work as Ctrl-C does.
constexpr int kHandledSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int kWatchSlots = 2 * CInterruptGuard::kMostWatchers + 4;

volatile std::sig_atomic_t g_interrupts = 0;
volatile std::sig_atomic_t g_signal = 0;
// Workers claim and free slots; the handler only reads them.
std::mutex g_watchLock;
// Paths live in static storage: the handler may only touch memory that never moves.
char g_watched[kWatchSlots][PATH_MAX];

void OnInterrupt(int signal) {
    if (g_interrupts > 0) {
        for (auto& path : g_watched)
            if (path[0] != 0) ::unlink(path);
        ::_exit(128 + signal);
    }
    if (g_signal == 0) g_signal = signal;
    g_interrupts = g_interrupts + 1;
}

}  // namespace

CInterruptGuard::CInterruptGuard() {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    for (size_t i = 0; i < kSignals; ++i)
        ::sigaction(kHandledSignals[i], &action, &m_old[i]);
}

CInterruptGuard::~CInterruptGuard() {
    for (size_t i = 0; i < kSignals; ++i)
        ::sigaction(kHandledSignals[i], &m_old[i], nullptr);
}

bool CInterruptGuard::Requested() {
    return g_interrupts > 0;
}

int CInterruptGuard::ExitStatus() {
    return 128 + (g_signal != 0 ? int(g_signal) : SIGINT);
}

void CInterruptGuard::Raise() {
    g_interrupts = 1;
}

void CInterruptGuard::Reset() {
    g_interrupts = 0;
    g_signal = 0;
}

bool CInterruptGuard::Watch(const std::string& path) {
    if (path.empty() || path.size() >= PATH_MAX) return false;
    std::lock_guard<std::mutex> lock(g_watchLock);
    for (auto& slot : g_watched) {
        if (slot[0] != 0) continue;
        // Fill the text before its first byte makes the slot visible to the handler.
        std::memcpy(slot + 1, path.c_str() + 1, path.size());
        slot[0] = path[0];
        return true;
    }
    return false;
}

void CInterruptGuard::Unwatch(const std::string& path) {
    std::lock_guard<std::mutex> lock(g_watchLock);
    for (auto& slot : g_watched)
        if (slot[0] != 0 && path == slot) slot[0] = 0;
}

}  // namespace vxtool
