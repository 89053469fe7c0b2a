#include "Interrupt.h"

#include <limits.h>
#include <unistd.h>

#include <cstring>

namespace vxtool {
namespace {

constexpr int kWatchSlots = 4;

volatile std::sig_atomic_t g_interrupts = 0;
// Paths live in static storage: the handler may only touch memory that never moves.
char g_watched[kWatchSlots][PATH_MAX];

void OnInterrupt(int signal) {
    if (g_interrupts > 0) {
        for (auto& path : g_watched)
            if (path[0] != 0) ::unlink(path);
        ::_exit(128 + signal);
    }
    g_interrupts = g_interrupts + 1;
}

}  // namespace

CInterruptGuard::CInterruptGuard() {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, &m_oldInt);
    ::sigaction(SIGTERM, &action, &m_oldTerm);
}

CInterruptGuard::~CInterruptGuard() {
    ::sigaction(SIGINT, &m_oldInt, nullptr);
    ::sigaction(SIGTERM, &m_oldTerm, nullptr);
}

bool CInterruptGuard::Requested() {
    return g_interrupts > 0;
}

void CInterruptGuard::Raise() {
    g_interrupts = 1;
}

void CInterruptGuard::Reset() {
    g_interrupts = 0;
}

bool CInterruptGuard::Watch(const std::string& path) {
    if (path.size() >= PATH_MAX) return false;
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
    for (auto& slot : g_watched)
        if (slot[0] != 0 && path == slot) slot[0] = 0;
}

}  // namespace vxtool
