// Drives the codec modules the way the service does: loaded with dlopen from the plug-in folder,
// asked for an instance, given a file, a request and the status, then read or written line by
// line. Also the MD5 of decoded samples, for the corpus manifests.
#ifndef VANDREL_TESTS_CODECTESTSUPPORT_H
#define VANDREL_TESTS_CODECTESTSUPPORT_H

#include <dlfcn.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "FakePlugInSupport.h"
#include "TestSupport.h"
#include "vandrel/PlugIn.h"
#include "vandrel/Records.h"
#include "vandrel/Status.h"
#include "vandrel/VandrelIF.h"

namespace vxtest {

// --- Loading the modules. ---

// The prototype of one codec module, loaded once per test program. The prototypes die through
// Delete() at exit; the modules stay mapped, as the service leaves them.
inline IPlugIn* CodecPrototype(const std::string& module) {
    struct Prototypes {
        std::map<std::string, IPlugIn*> loaded;
        ~Prototypes() {
            for (auto& entry : loaded)
                if (entry.second != nullptr) entry.second->Delete();
        }
    };
    static Prototypes prototypes;
    auto found = prototypes.loaded.find(module);
    if (found != prototypes.loaded.end()) return found->second;
    std::string path = std::string(VANDREL_PLUGIN_DIR) + "/" + module + ".so";
    void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    IPlugIn* prototype = nullptr;
    if (handle != nullptr) {
        auto create = reinterpret_cast<VxCreatePlugInProc>(::dlsym(handle, kVxPlugInEntryPoint));
        prototype = create != nullptr ? create() : nullptr;
        if (prototype != nullptr)
            prototype->Initialize((std::string(VANDREL_PLUGIN_DIR) + "/").c_str());
    }
    prototypes.loaded[module] = prototype;
    return prototype;
}
inline IPlugIn* Jpeg() {
    return CodecPrototype("VxJpeg");
}
inline IPlugIn* Png() {
    return CodecPrototype("VxPng");
}
inline IPlugIn* Tiff() {
    return CodecPrototype("VxTiff");
}
inline IPlugIn* Heif() {
    return CodecPrototype("VxHeif");
}
inline IPlugIn* Avif() {
    return CodecPrototype("VxAvif");
}
inline IPlugIn* Webp() {
    return CodecPrototype("VxWebp");
}
inline IPlugIn* Gif() {
    return CodecPrototype("VxGif");
}

// An instance that dies through Delete() like the service's.
class Instance {
public:
    Instance(IPlugIn* prototype, const std::string& file)
        : m_plugIn(prototype != nullptr ? prototype->CreateInstance() : nullptr) {
        if (m_plugIn != nullptr) m_plugIn->SetFileName(file.c_str());
    }
    ~Instance() {
        if (m_plugIn != nullptr) m_plugIn->Delete();
    }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;
    IPlugIn* operator->() const { return m_plugIn; }
    IPlugIn* get() const { return m_plugIn; }

private:
    IPlugIn* m_plugIn;
};

// --- Images in memory. ---

// Packed planes (no row padding): colour samples interleaved, alpha separate; 16-bit samples
// in host order.
struct Image {
    int32_t width = 0;
    int32_t height = 0;
    int32_t depth = 24;      // bits per pixel of the colour plane: 8, 16, 24 or 48
    int32_t alphaDepth = 0;  // 0, 8 or 16
    std::vector<unsigned char> color;
    std::vector<unsigned char> alpha;

    size_t ColorRowBytes() const { return size_t(width) * depth / 8; }
    size_t AlphaRowBytes() const { return size_t(width) * alphaDepth / 8; }
};

// What a decode produced: the first failure, else the first warning, else 1.
struct Decoded {
    int32_t code = 1;
    CUImageFileStatus status;
    Image image;
    bool Failed() const { return VxIsFailure(code); }
};

inline void Remember(int32_t& worst, int32_t code) {
    if (VxIsFailure(worst)) return;
    if (VxIsFailure(code) || (VxIsWarning(code) && worst > 0)) worst = code;
}

// The service's road: status, request, Open("r"), then every line into buffers laid out as the
// status says (padded rows), stopping at the first failure.
inline Decoded DecodeFile(IPlugIn* prototype, const std::string& file,
                          const CURequest& request = CURequest()) {
    Decoded out;
    Instance plugIn(prototype, file);
    if (plugIn.get() == nullptr) {
        out.code = kVxErrCreateInstance;
        return out;
    }
    int32_t code = plugIn->GetFileStatus(&out.status);
    Remember(out.code, code);
    if (out.Failed()) return out;
    Remember(out.code, plugIn->SetRequest(request, out.status));
    Remember(out.code, plugIn->Open("r"));
    if (out.Failed()) return out;
    Image& img = out.image;
    img.width = out.status.info.lWidth;
    img.height = out.status.info.lHeight;
    img.depth = out.status.info.lColorDepth;
    img.alphaDepth = out.status.info2.lColorDepth;
    std::vector<unsigned char> line(size_t(out.status.info.RowBytes()) + 16, 0xCD);
    std::vector<unsigned char> line2(size_t(img.alphaDepth ? out.status.info2.RowBytes() : 1) + 16,
                                     0xCD);
    img.color.reserve(img.ColorRowBytes() * img.height);
    for (int32_t y = 0; y < img.height; ++y) {
        Remember(out.code, plugIn->ReadLine(line.data(), img.alphaDepth ? line2.data() : nullptr));
        if (out.Failed()) break;
        img.color.insert(img.color.end(), line.begin(), line.begin() + long(img.ColorRowBytes()));
        img.alpha.insert(img.alpha.end(), line2.begin(), line2.begin() + long(img.AlphaRowBytes()));
    }
    int32_t closed = plugIn->Close();
    if (closed < 0) Remember(out.code, closed);
    return out;
}

// --- The same files through the image-file service. ---

// A service that loads every plug-in of this build's plug-in folder.
inline ServicePtr CodecService() {
    return MakeService(VANDREL_PLUGIN_DIR);
}

// Bytes of the pixels of one line of a layout, without the padding.
inline size_t PackedBytes(const CUImageInfo& layout) {
    return size_t(layout.lWidth) * size_t(layout.lColorDepth) / 8;
}

// What a read through the service produced: the first failure, else the first warning, else 1;
// the line layouts BeginReadLine announced, and the lines packed one after the other.
struct ServiceDecoded {
    int32_t code = 1;
    CUImageFileStatus status;
    CUImageInfo info;
    CUImageInfo info2;
    std::vector<unsigned char> color;
    std::vector<unsigned char> alpha;
    std::string fault;  // what the service did wrong beyond its status codes; empty when nothing
    bool Failed() const { return VxIsFailure(code); }
};

enum class LineOwner { kCaller, kService };

// Handle, status, BeginReadLine, every line, EndReadLine, DeleteImageHandle. kCaller lines are read
// into the caller's buffers (with a guard byte behind each that must survive); kService lines are
// borrowed from the handle.
inline ServiceDecoded ReadThroughService(IVandrelIF* service, const std::string& file,
                                         const CURequest& request,
                                         LineOwner owner = LineOwner::kCaller) {
    ServiceDecoded out;
    const int32_t handle = service->GetImageHandle(file.c_str());
    if (handle < 0) {
        out.code = handle;
        return out;
    }
    Remember(out.code, service->GetFileStatus(handle, &out.status));
    if (!out.Failed()) {
        const int32_t begun = service->BeginReadLine(handle, request, &out.info, &out.info2);
        Remember(out.code, begun);
        if (!out.Failed()) {
            const bool second = out.info2.lColorDepth != 0;
            const size_t bytes = PackedBytes(out.info),
                         bytes2 = second ? PackedBytes(out.info2) : 0;
            const unsigned char kGuard = 0xA5;
            std::vector<unsigned char> line(size_t(out.info.RowBytes()) + 1, kGuard);
            std::vector<unsigned char> line2(size_t(second ? out.info2.RowBytes() : 0) + 1, kGuard);
            for (int32_t y = 0; y < out.status.info.lHeight && !out.Failed(); ++y) {
                const unsigned char* got = line.data();
                const unsigned char* got2 = line2.data();
                if (owner == LineOwner::kCaller) {
                    Remember(out.code, service->ReadLine(handle, static_cast<void*>(line.data()),
                                                         second ? line2.data() : nullptr));
                    if (line.back() != kGuard || line2.back() != kGuard)
                        out.fault = "line " + std::to_string(y) + " ran past its row length";
                } else {
                    void* lent = nullptr;
                    void* lent2 = nullptr;
                    Remember(out.code, service->ReadLine(handle, &lent, &lent2));
                    got = static_cast<const unsigned char*>(lent);
                    got2 = static_cast<const unsigned char*>(lent2);
                    if (!out.Failed() && (got == nullptr || (second && got2 == nullptr))) {
                        out.fault = "line " + std::to_string(y) + " was not lent";
                        break;
                    }
                }
                if (out.Failed() || !out.fault.empty()) break;
                out.color.insert(out.color.end(), got, got + bytes);
                if (second) out.alpha.insert(out.alpha.end(), got2, got2 + bytes2);
            }
            const int32_t ended = service->EndReadLine(handle);
            if (ended != 1) Remember(out.code, ended);
        }
    }
    service->DeleteImageHandle(handle);
    return out;
}

// Writes an image through a codec: the request's info names the file layout, lOption3 the
// alpha plane. Returns the first failure, else 1.
inline int32_t EncodeFile(IPlugIn* prototype, const std::string& file, const Image& img,
                          int32_t quality = 75) {
    Instance plugIn(prototype, file);
    if (plugIn.get() == nullptr) return kVxErrCreateInstance;
    CURequest request;
    request.info.lWidth = img.width;
    request.info.lHeight = img.height;
    request.info.lColorDepth = img.depth;
    request.lQuality = quality;
    request.lOption3 = img.alphaDepth != 0 ? 1 : 0;
    int32_t code = plugIn->SetRequest(request, CUImageFileStatus());
    if (code < 0) return code;
    code = plugIn->Open("w");
    if (code < 0) return code;
    for (int32_t y = 0; y < img.height; ++y) {
        const unsigned char* a =
            img.alphaDepth ? img.alpha.data() + y * img.AlphaRowBytes() : nullptr;
        code = plugIn->WriteLine(img.color.data() + y * img.ColorRowBytes(), a);
        if (code < 0) {
            plugIn->Close();
            return code;
        }
    }
    return plugIn->Close();
}

// A smooth image with some detail: gradients plus a checker, in every channel and the alpha.
inline Image MakeImage(int32_t width, int32_t height, int32_t depth, int32_t alphaDepth) {
    Image img;
    img.width = width;
    img.height = height;
    img.depth = depth;
    img.alphaDepth = alphaDepth;
    const int channels = depth == 8 || depth == 16 ? 1 : 3;
    const bool wide = depth == 16 || depth == 48;
    img.color.resize(img.ColorRowBytes() * height);
    img.alpha.resize(img.AlphaRowBytes() * height);
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            for (int c = 0; c < channels; ++c) {
                uint32_t v = uint32_t(x * 40000 / (width > 1 ? width - 1 : 1)) * (c + 1) / 3 +
                             uint32_t(y * 20000 / (height > 1 ? height - 1 : 1)) * (3 - c) / 3 +
                             (((x / 4 + y / 4) & 1) ? 3000u : 0u) + uint32_t(c * 17);
                uint16_t s = uint16_t(v);  // at most 63034: no wrap, so no false edges
                size_t at = (size_t(y) * width + x) * channels + c;
                if (wide) {
                    std::memcpy(&img.color[at * 2], &s, 2);
                } else {
                    img.color[at] = static_cast<unsigned char>(s >> 8);
                }
            }
            if (alphaDepth != 0) {
                uint16_t a = uint16_t((x * 131 + y * 71) * 97 % 65536);
                size_t at = size_t(y) * width + x;
                if (alphaDepth == 16) {
                    std::memcpy(&img.alpha[at * 2], &a, 2);
                } else {
                    img.alpha[at] = static_cast<unsigned char>(a >> 8);
                }
            }
        }
    }
    return img;
}

// The grey image a decoder hands out as RGB: every sample copied to R, G and B.
inline std::vector<unsigned char> GreyAsRgb(const Image& grey) {
    const size_t bytes = grey.depth / 8;
    std::vector<unsigned char> rgb;
    rgb.reserve(grey.color.size() * 3);
    for (size_t i = 0; i < grey.color.size(); i += bytes)
        for (int c = 0; c < 3; ++c)
            rgb.insert(rgb.end(), grey.color.begin() + long(i),
                       grey.color.begin() + long(i + bytes));
    return rgb;
}

// Peak signal-to-noise ratio of two 8-bit sample arrays of equal size, in dB.
inline double Psnr(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b) {
    if (a.size() != b.size() || a.empty()) return 0.0;
    double sum = 0.0;
    for (size_t i = 0; i < a.size(); ++i) {
        double d = double(a[i]) - double(b[i]);
        sum += d * d;
    }
    if (sum == 0.0) return 99.0;
    return 10.0 * std::log10(255.0 * 255.0 * double(a.size()) / sum);
}

// The samples as the corpus manifest hashes them, from RGB lines and an alpha plane as the
// codecs deliver them: one grey sample (R) or three colour samples per pixel, each followed by
// its alpha sample when the image has one (channels 2 or 4).
inline std::vector<unsigned char> ManifestSamples(const std::vector<unsigned char>& rgb,
                                                  const std::vector<unsigned char>& alpha,
                                                  int channels, int sampleBytes) {
    const size_t bytes = size_t(sampleBytes);
    const bool grey = channels <= 2;
    const bool withAlpha = channels == 2 || channels == 4;
    std::vector<unsigned char> out;
    const size_t pixels = rgb.size() / (3 * bytes);
    for (size_t i = 0; i < pixels; ++i) {
        const unsigned char* px = rgb.data() + i * 3 * bytes;
        out.insert(out.end(), px, px + (grey ? 1 : 3) * bytes);
        if (withAlpha && (i + 1) * bytes <= alpha.size())
            out.insert(out.end(), alpha.begin() + long(i * bytes),
                       alpha.begin() + long((i + 1) * bytes));
    }
    return out;
}

// Builds a TIFF block by hand (header, directories, values) in either byte order, so tests can
// make metadata no camera wrote: links between directories, odd types, forged dimensions.
class TiffBlock {
public:
    enum Type : uint16_t {
        kByte = 1,
        kAscii = 2,
        kShort = 3,
        kLong = 4,
        kRational = 5,
        kUndefined = 7
    };

    explicit TiffBlock(bool bigEndian, int directories = 1)
        : m_bigEndian(bigEndian), m_dirs(size_t(directories)) {}

    void Numbers(int dir, uint16_t tag, Type type, const std::vector<uint32_t>& values) {
        std::string bytes;
        for (uint32_t v : values) {
            if (type == kShort)
                bytes += Pack(v, 2);
            else if (type == kByte)
                bytes += char(v);
            else
                bytes += Pack(v, 4);
        }
        m_dirs[size_t(dir)].push_back(
            {tag, type, uint32_t(type == kRational ? values.size() / 2 : values.size()), bytes,
             -1});
    }
    void Bytes(int dir, uint16_t tag, Type type, const std::string& bytes) {
        m_dirs[size_t(dir)].push_back({tag, type, uint32_t(bytes.size()), bytes, -1});
    }
    void Text(int dir, uint16_t tag, const std::string& text) {
        Bytes(dir, tag, kAscii, text + '\0');
    }
    void Link(int dir, uint16_t tag, int target) {
        m_dirs[size_t(dir)].push_back({tag, kLong, 1, "", target});
    }

    std::string Build() const {
        std::vector<uint32_t> at(m_dirs.size());
        uint32_t offset = 8;
        for (size_t d = 0; d < m_dirs.size(); ++d) {
            at[d] = offset;
            offset += uint32_t(2 + 12 * m_dirs[d].size() + 4);
        }
        std::string out = m_bigEndian ? std::string("MM\0*", 4) : std::string("II*\0", 4);
        out += Pack(8, 4);
        std::string data;
        for (size_t d = 0; d < m_dirs.size(); ++d) {
            std::vector<Entry> entries = m_dirs[d];
            std::sort(entries.begin(), entries.end(),
                      [](const Entry& a, const Entry& b) { return a.tag < b.tag; });
            out += Pack(uint32_t(entries.size()), 2);
            for (const Entry& e : entries) {
                out += Pack(e.tag, 2) + Pack(e.type, 2) + Pack(e.count, 4);
                std::string value = e.target >= 0 ? Pack(at[size_t(e.target)], 4) : e.bytes;
                if (value.size() <= 4) {
                    out += value + std::string(4 - value.size(), '\0');
                } else {
                    out += Pack(offset + uint32_t(data.size()), 4);
                    data += value;
                    if (data.size() % 2) data += '\0';
                }
            }
            out += Pack(0, 4);
        }
        return out + data;
    }

private:
    struct Entry {
        uint16_t tag;
        uint16_t type;
        uint32_t count;
        std::string bytes;
        int target;
    };
    std::string Pack(uint32_t v, int bytes) const {
        std::string s;
        for (int i = 0; i < bytes; ++i) {
            int shift = m_bigEndian ? 8 * (bytes - 1 - i) : 8 * i;
            s += char((v >> shift) & 0xFF);
        }
        return s;
    }
    bool m_bigEndian;
    std::vector<std::vector<Entry>> m_dirs;
};

// The MD5 of some bytes as md5sum prints it, for the corpus manifests (made by md5sum).
inline std::string Md5Hex(const std::vector<unsigned char>& data) {
    ScratchDir scratch;
    WriteFile(scratch.file("bytes"), std::string(data.begin(), data.end()));
    FILE* pipe = ::popen(("md5sum '" + scratch.file("bytes") + "'").c_str(), "r");
    char hex[33] = {};
    if (pipe == nullptr) return hex;
    const size_t got = std::fread(hex, 1, 32, pipe);
    ::pclose(pipe);
    return std::string(hex, got);
}

}  // namespace vxtest

#endif
