// Message 3 of IMessageProc: a decoder tells the request's message procedure, once per read,
// that it met damage it could step over.
#ifndef VANDREL_PLUGINS_DAMAGENOTICE_H
#define VANDREL_PLUGINS_DAMAGENOTICE_H

#include <cstdint>

#include "vandrel/MessageProc.h"
#include "vandrel/Status.h"

namespace vxcodec {

class CDamageNotice {
public:
    static constexpr int kMessageDamage = 3;

    void Begin(IMessageProc* listener) {
        m_listener = listener;
        m_sent = false;
    }

    // Passes a line's status through; the first warning of the read goes to the listener.
    int32_t Note(int32_t code) {
        if (m_sent || m_listener == nullptr || !VxIsWarning(code)) return code;
        m_sent = true;
        int32_t reported = code;
        m_listener->MessageProc(kMessageDamage, &reported);
        return code;
    }

private:
    IMessageProc* m_listener = nullptr;
    bool m_sent = false;
};

}  // namespace vxcodec

#endif
