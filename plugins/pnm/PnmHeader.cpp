#include "PnmHeader.h"

#include <unistd.h>

#include <cerrno>
#include <vector>

#include "vandrel/Status.h"

namespace {

bool IsBlank(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool IsDigit(unsigned char c) {
    return c >= '0' && c <= '9';
}

class HeaderCursor {
public:
    HeaderCursor(const unsigned char* bytes, size_t size) : m_bytes(bytes), m_size(size) {}

    // Skips white space and comments; false when nothing separated the previous token.
    bool SkipSeparators() {
        size_t start = m_pos;
        for (;;) {
            while (m_pos < m_size && IsBlank(m_bytes[m_pos]))
                ++m_pos;
            if (m_pos < m_size && m_bytes[m_pos] == '#') {
                while (m_pos < m_size && m_bytes[m_pos] != '\n' && m_bytes[m_pos] != '\r')
                    ++m_pos;
                continue;
            }
            return m_pos > start;
        }
    }

    // A decimal number, saturated at cap + 1 so that absurd values stay recognisable.
    bool Number(int64_t cap, int64_t* value) {
        if (m_pos >= m_size || !IsDigit(m_bytes[m_pos])) return false;
        int64_t v = 0;
        while (m_pos < m_size && IsDigit(m_bytes[m_pos])) {
            v = v * 10 + (m_bytes[m_pos++] - '0');
            if (v > cap) v = cap + 1;
        }
        *value = v;
        return true;
    }

    bool SingleBlank() {
        if (m_pos >= m_size || !IsBlank(m_bytes[m_pos])) return false;
        ++m_pos;
        return true;
    }

    size_t Position() const { return m_pos; }
    void Advance(size_t n) { m_pos += n; }

private:
    const unsigned char* m_bytes;
    size_t m_size;
    size_t m_pos = 0;
};

}  // namespace

int32_t CPnmHeader::Parse(const unsigned char* bytes, size_t size, CPnmHeader* out) {
    if (size < 2 || bytes[0] != 'P') return kVxErrCodecFormat;
    CPnmHeader h;
    switch (bytes[1]) {
        case '5':
            h.lChannels = 1;
            break;
        case '6':
            h.lChannels = 3;
            break;
        case '1':
        case '2':
        case '3':
        case '4':
        case '7':
            return kVxErrCodecUnsupported;
        default:
            return kVxErrCodecFormat;
    }
    HeaderCursor cursor(bytes, size);
    cursor.Advance(2);
    int64_t width = 0, height = 0, maxValue = 0;
    if (!cursor.SkipSeparators() || !cursor.Number(kMaxSide, &width)) return kVxErrCodecFormat;
    if (!cursor.SkipSeparators() || !cursor.Number(kMaxSide, &height)) return kVxErrCodecFormat;
    if (!cursor.SkipSeparators() || !cursor.Number(65535, &maxValue)) return kVxErrCodecFormat;
    if (!cursor.SingleBlank()) return kVxErrCodecFormat;
    if (width < 1 || height < 1 || maxValue < 1 || maxValue > 65535) return kVxErrCodecFormat;
    if (width > kMaxSide || height > kMaxSide) return kVxErrCodecTooLarge;
    h.lWidth = int32_t(width);
    h.lHeight = int32_t(height);
    h.lMaxValue = int32_t(maxValue);
    h.llDataOffset = int64_t(cursor.Position());
    *out = h;
    return 1;
}

int32_t CPnmHeader::Read(int fd, CPnmHeader* out) {
    std::vector<unsigned char> bytes(kMaxHeaderBytes);
    size_t got = 0;
    while (got < bytes.size()) {
        ssize_t n = ::pread(fd, bytes.data() + got, bytes.size() - got, off_t(got));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return kVxErrCodecIO;
        if (n == 0) break;
        got += size_t(n);
    }
    return Parse(bytes.data(), got, out);
}

std::string CPnmHeader::Text() const {
    return std::string(lChannels == 1 ? "P5" : "P6") + "\n" + std::to_string(lWidth) + " " +
           std::to_string(lHeight) + "\n" + std::to_string(lMaxValue) + "\n";
}
