#include "PnmPlugIn.h"

#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "../common/CodecSupport.h"
#include "vandrel/Export.h"
#include "vandrel/Status.h"

namespace {

// "P5" or "P6" and the white space that ends the magic number.
constexpr size_t kSignatureSize = 3;
const vxcodec::CodecIdentity kIdentity = {"PNM", "PNM", ".pnm;.ppm;.pgm;PNM;", kSignatureSize};
const char* const kVersion = "PNM 1.0 (binary P5/P6, 8 and 16 bits per sample)";

bool HostIsBigEndian() {
    return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
}

// Converts 16-bit samples between file order (most significant byte first) and host order.
void SwapToHostOrder(unsigned char* bytes, int64_t samples) {
    if (HostIsBigEndian()) return;
    for (int64_t i = 0; i < samples; ++i) {
        unsigned char t = bytes[2 * i];
        bytes[2 * i] = bytes[2 * i + 1];
        bytes[2 * i + 1] = t;
    }
}

void CopyToFileOrder(unsigned char* dst, const unsigned char* src, int64_t samples) {
    if (HostIsBigEndian()) {
        std::memcpy(dst, src, size_t(samples) * 2);
        return;
    }
    for (int64_t i = 0; i < samples; ++i) {
        dst[2 * i] = src[2 * i + 1];
        dst[2 * i + 1] = src[2 * i];
    }
}

// Moves exactly size bytes at offset with transfer (pread or pwrite), going on after short
// transfers and interruptions; false on a short file or an error.
template <typename Byte, typename Transfer>
bool TransferAll(Transfer transfer, int fd, Byte* p, size_t size, int64_t offset) {
    while (size > 0) {
        ssize_t n = transfer(fd, p, size, off_t(offset));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        p += n;
        size -= size_t(n);
        offset += n;
    }
    return true;
}

bool ReadAt(int fd, void* buffer, size_t size, int64_t offset) {
    return TransferAll(::pread, fd, static_cast<unsigned char*>(buffer), size, offset);
}

bool WriteAt(int fd, const void* buffer, size_t size, int64_t offset) {
    return TransferAll(::pwrite, fd, static_cast<const unsigned char*>(buffer), size, offset);
}

int OpenFile(const char* path, int flags) {
    int fd;
    do {
        fd = ::open(path, flags | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

bool SameName(const char* a, const char* b) {
    return a != nullptr && ::strcasecmp(a, b) == 0;
}

// Lines are read as colour lines whatever the file holds: grey samples come out as R = G = B,
// so that every depth the service converts (24 and 48 bits) covers grey files too.
int32_t DeliveredDepth(const CPnmHeader& header) {
    return 3 * header.BytesPerSample() * 8;
}

// Spreads width grey samples at the start of line into R, G, B triples. Walks from the last
// pixel back, so each sample is read before its triple overwrites it.
void ExpandGreyToRgb(unsigned char* line, int64_t width, int32_t bytesPerSample) {
    for (int64_t x = width - 1; x >= 0; --x) {
        unsigned char sample[2];
        std::memcpy(sample, line + x * bytesPerSample, size_t(bytesPerSample));
        unsigned char* rgb = line + x * 3 * bytesPerSample;
        for (int c = 0; c < 3; ++c)
            std::memcpy(rgb + c * bytesPerSample, sample, size_t(bytesPerSample));
    }
}

}  // namespace

CPnmPlugIn::CPnmPlugIn() : CPlugInBase(kIdentity) {}

CPnmPlugIn::~CPnmPlugIn() {
    if (m_fd >= 0) ::close(m_fd);
}

IPlugIn* CPnmPlugIn::CreateInstance() {
    CPnmPlugIn* instance = new (std::nothrow) CPnmPlugIn();
    if (instance != nullptr) instance->InheritSettings(*this);
    return instance;
}

// A name from the list is enough: the signature is asked only for files named otherwise.
int32_t CPnmPlugIn::IsSupportedFile(const char* fileName) {
    if (fileName == nullptr) return 0;
    return NameMatchesExtensions(fileName) || SignatureVerdict(fileName) == 1 ? 1 : 0;
}

bool CPnmPlugIn::HasSignature(const unsigned char* head) const {
    return head[0] == 'P' && (head[1] == '5' || head[1] == '6') &&
           std::strchr(" \t\n\v\f\r#", head[2]) != nullptr && head[2] != 0;
}

// Only the three names of the family choose this codec for writing; extensions do not.
int32_t CPnmPlugIn::IsSupportedFormat(const char* formatName) {
    return SameName(formatName, "PNM") || SameName(formatName, "PPM") || SameName(formatName, "PGM")
               ? 1
               : 0;
}

// An empty entry is simply not added.
int32_t CPnmPlugIn::AddExtensionName(const char* ext) {
    if (ext == nullptr || *ext == 0) return 0;
    return CPlugInBase::AddExtensionName(ext);
}

// These files carry no metadata: no camera data and no tag database.
int32_t CPnmPlugIn::GetCameraInfo(CUCameraInfo* info) {
    if (info == nullptr) return kVxErrInvalidArgument;
    *info = CUCameraInfo();
    return 1;
}

IUTagDB* CPnmPlugIn::CreateTagDB() {
    return nullptr;
}

int32_t CPnmPlugIn::ReadHeaderOfFile(CPnmHeader* header) const {
    if (m_mode == kReading) {
        *header = m_header;
        return 1;
    }
    int fd = OpenFile(FileName(), O_RDONLY);
    if (fd < 0) return kVxErrCodecOpen;
    int32_t result;
    try {
        result = CPnmHeader::Read(fd, header);
    } catch (const std::bad_alloc&) {
        result = kVxErrCodecMemory;
    }
    ::close(fd);
    return result;
}

int32_t CPnmPlugIn::GetFileStatus(CUImageFileStatus* status) {
    if (status == nullptr) return kVxErrInvalidArgument;
    CPnmHeader header;
    int32_t result = ReadHeaderOfFile(&header);
    if (result != 1) return result;
    // The file-level part belongs to the service; only the image description is ours.
    status->info = CUImageInfo();
    status->info.lWidth = header.lWidth;
    status->info.lHeight = header.lHeight;
    status->info.lColorDepth = DeliveredDepth(header);
    status->info.lRowBytes = status->info.RowBytes();
    status->info2 = CUImageInfo();
    status->info2.lColorDepth = 0;
    status->info3 = CUImageInfo();
    status->strFormat = header.lChannels == 1 ? "PGM" : "PPM";
    status->lValue1 = DeliveredDepth(header);
    return 1;
}

const char* CPnmPlugIn::GetDecoderVersion() {
    return kVersion;
}

int32_t CPnmPlugIn::Open(const char* mode) {
    if (mode == nullptr) return kVxErrCodecOpen;
    if (m_mode != kClosed) return kVxErrCodecState;
    try {
        if (mode[0] == 'r') return OpenForReading();
        if (mode[0] == 'w') return OpenForWriting();
    } catch (const std::bad_alloc&) {
        Close();
        return kVxErrCodecMemory;
    }
    return kVxErrCodecOpen;
}

int32_t CPnmPlugIn::OpenForReading() {
    int fd = OpenFile(FileName(), O_RDONLY);
    if (fd < 0) return kVxErrCodecOpen;
    CPnmHeader header;
    int32_t result = CPnmHeader::Read(fd, &header);
    if (result != 1) {
        ::close(fd);
        return result;
    }
    if (header.NeedsScaling() && header.BytesPerSample() == 1) {
        m_stretch.resize(256);
        for (int32_t v = 0; v < 256; ++v) {
            int32_t clamped = v < header.lMaxValue ? v : header.lMaxValue;
            m_stretch[size_t(v)] =
                (unsigned char)((clamped * 255 + header.lMaxValue / 2) / header.lMaxValue);
        }
    }
    m_fd = fd;
    m_header = header;
    m_mode = kReading;
    m_line = 0;
    return 1;
}

// The file takes the layout the request asks for; a format name narrows the choice.
int32_t CPnmPlugIn::WriterLayout(CPnmHeader* header) const {
    const CUImageInfo& info = Request().info;
    if (info.bNative != 0 || !info.IsColorSpace("RGB")) return kVxErrCodecUnsupported;
    if (info.lWidth < 1 || info.lHeight < 1) return kVxErrCodecUnsupported;
    if (info.lWidth > CPnmHeader::kMaxSide || info.lHeight > CPnmHeader::kMaxSide)
        return kVxErrCodecTooLarge;
    vxcodec::WrittenSamples samples;
    if (!vxcodec::SamplesForDepth(info.lColorDepth, &samples)) return kVxErrCodecUnsupported;
    header->lChannels = samples.channels;
    header->lMaxValue = samples.bits == 16 ? 65535 : 255;
    const char* format = Request().strFormatName;
    if (SameName(format, "PPM") && header->lChannels != 3) return kVxErrCodecUnsupported;
    if (SameName(format, "PGM") && header->lChannels != 1) return kVxErrCodecUnsupported;
    header->lWidth = info.lWidth;
    header->lHeight = info.lHeight;
    return 1;
}

int32_t CPnmPlugIn::OpenForWriting() {
    CPnmHeader header;
    int32_t result = WriterLayout(&header);
    if (result != 1) return result;
    if (header.BytesPerSample() == 2) m_row.resize(size_t(header.RowBytes()));
    int fd = OpenFile(FileName(), O_WRONLY | O_CREAT | O_TRUNC);
    if (fd < 0) return kVxErrCodecOpen;
    std::string text = header.Text();
    if (!WriteAt(fd, text.data(), text.size(), 0)) {
        ::close(fd);
        return kVxErrCodecIO;
    }
    header.llDataOffset = int64_t(text.size());
    m_fd = fd;
    m_header = header;
    m_mode = kWriting;
    m_line = 0;
    m_linesEnd = 0;
    return 1;
}

void CPnmPlugIn::StretchSamples(unsigned char* line) const {
    const int64_t samples = int64_t(m_header.lWidth) * m_header.lChannels;
    if (m_header.BytesPerSample() == 1) {
        for (int64_t i = 0; i < samples; ++i)
            line[i] = m_stretch[line[i]];
        return;
    }
    // A caller's line need not be aligned for 16-bit access.
    const uint32_t maxValue = uint32_t(m_header.lMaxValue);
    for (int64_t i = 0; i < samples; ++i) {
        uint16_t word;
        std::memcpy(&word, line + 2 * i, 2);
        uint32_t v = word < maxValue ? word : maxValue;
        word = uint16_t((v * 65535u + maxValue / 2) / maxValue);
        std::memcpy(line + 2 * i, &word, 2);
    }
}

int32_t CPnmPlugIn::ReadLine(void* line, void*) {
    if (m_mode != kReading) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (m_line >= m_header.lHeight) return kVxErrCodecState;
    auto* bytes = static_cast<unsigned char*>(line);
    const int64_t rowBytes = m_header.RowBytes();
    if (!ReadAt(m_fd, bytes, size_t(rowBytes), m_header.llDataOffset + m_line * rowBytes))
        return kVxErrCodecData;  // the file ends before this line does
    if (m_header.BytesPerSample() == 2) SwapToHostOrder(bytes, rowBytes / 2);
    if (m_header.NeedsScaling()) StretchSamples(bytes);
    if (m_header.lChannels == 1) ExpandGreyToRgb(bytes, m_header.lWidth, m_header.BytesPerSample());
    ++m_line;
    return 1;
}

int32_t CPnmPlugIn::WriteLine(const void* line, const void*) {
    if (m_mode != kWriting) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (m_line >= m_header.lHeight) return kVxErrCodecState;
    const int64_t rowBytes = m_header.RowBytes();
    const void* out = line;
    if (m_header.BytesPerSample() == 2) {
        CopyToFileOrder(m_row.data(), static_cast<const unsigned char*>(line), rowBytes / 2);
        out = m_row.data();
    }
    if (!WriteAt(m_fd, out, size_t(rowBytes), m_header.llDataOffset + m_line * rowBytes))
        return kVxErrCodecIO;
    ++m_line;
    if (m_line > m_linesEnd) m_linesEnd = m_line;
    return 1;
}

int32_t CPnmPlugIn::SeekLine(int32_t line, int origin) {
    if (m_mode == kClosed) return kVxErrCodecState;
    if (origin != kFromStart && origin != kFromCurrent && origin != kFromEnd)
        return kVxErrInvalidArgument;
    const int64_t target = vxcodec::SeekTarget(line, origin, m_line, m_header.lHeight);
    if (target < 0 || target > m_header.lHeight) return kVxErrCannotSeek;
    m_line = int32_t(target);
    return 1;
}

int32_t CPnmPlugIn::FinishWriting() {
    bool closed = ::close(m_fd) == 0;
    m_fd = -1;
    if (!closed) return kVxErrCodecIO;
    // Fewer lines than the header promised leave a file no reader accepts whole.
    return m_linesEnd < m_header.lHeight ? kVxErrCodecState : 1;
}

int32_t CPnmPlugIn::Close() {
    int32_t result = 1;
    if (m_mode == kWriting) {
        result = FinishWriting();
    } else if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
    m_mode = kClosed;
    m_stretch.clear();
    return result;
}

extern "C" VX_API IPlugIn* CreatePlugIn() {
    try {
        return new CPnmPlugIn();
    } catch (...) {
        return nullptr;
    }
}
