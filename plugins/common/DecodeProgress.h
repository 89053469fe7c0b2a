// Progress of a decoder that must work through the whole image before it can hand out its first
// line (progressive JPEG, interlaced PNG). It announces itself with message 1, then sends
// message 2 exactly `lines` times over its pre-pass, each carrying that line count, so that a
// listener can account half of the decode to the pre-pass and half to the line reads.
#ifndef VANDREL_PLUGINS_DECODEPROGRESS_H
#define VANDREL_PLUGINS_DECODEPROGRESS_H

#include <cstdint>

#include "vandrel/MessageProc.h"

namespace vxcodec {

class CDecodeProgress {
public:
    static constexpr int kMessageSelfReporting = 1;
    static constexpr int kMessageLineDone = 2;

    CDecodeProgress() = default;

    // Starts a pre-pass of `lines` steps; with no listener every call is a no-op.
    void Begin(IMessageProc* listener, int32_t lines) {
        m_listener = listener;
        m_lines = lines > 0 ? lines : 1;
        m_sent = 0;
        m_cancelled = false;
        if (m_listener == nullptr) return;
        int32_t selfReporting = 1;
        m_listener->MessageProc(kMessageSelfReporting, &selfReporting);
    }

    // Brings the number of messages sent up to `fraction` (0..1) of the line count. False once
    // the listener answered below 0, which cancels the decode.
    bool Advance(double fraction) {
        if (m_listener == nullptr || m_cancelled) return !m_cancelled;
        if (fraction > 1.0) fraction = 1.0;
        int32_t target = int32_t(fraction * m_lines);
        while (m_sent < target) {
            int32_t lines = m_lines;
            ++m_sent;
            if (m_listener->MessageProc(kMessageLineDone, &lines) < 0) {
                m_cancelled = true;
                return false;
            }
        }
        return true;
    }

    bool Finish() { return Advance(1.0); }
    bool Cancelled() const { return m_cancelled; }
    bool Active() const { return m_listener != nullptr; }

private:
    IMessageProc* m_listener = nullptr;
    int32_t m_lines = 1;
    int32_t m_sent = 0;
    bool m_cancelled = false;
};

}  // namespace vxcodec

#endif
