#include "WriterSettings.h"

#include <strings.h>

#include <cctype>

namespace vxtool {
namespace {

bool Same(const std::string& a, const char* b) {
    return ::strcasecmp(a.c_str(), b) == 0;
}

bool AllDigits(const std::string& text) {
    if (text.empty()) return false;
    for (char c : text)
        if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    return true;
}

// TIFF's schemes by name; 0 when the text names none.
int32_t TiffScheme(const std::string& text) {
    if (Same(text, "none")) return kVxTiffNone;
    if (Same(text, "lzw")) return kVxTiffLzw;
    if (Same(text, "deflate") || Same(text, "zip")) return kVxTiffDeflate;
    if (Same(text, "jpeg")) return kVxTiffJpeg;
    return 0;
}

}  // namespace

CWriterTraits TraitsOf(const std::string& type) {
    CWriterTraits t;
    if (Same(type, "JPEG")) {
        t.alpha = false;
        t.deep = false;
        t.ycc = true;  // YCbCr is what JPEG stores
        t.quality = true;
        t.grey = true;
    } else if (Same(type, "PNG")) {
        t.grey = true;
    } else if (Same(type, "TIFF")) {
        t.ycc = true;
        t.grey = true;
    } else if (Same(type, "PNM")) {
        t.alpha = false;
    } else if (Same(type, "WEBP") || Same(type, "GIF")) {
        t.deep = false;
        t.quality = Same(type, "WEBP");
    } else if (Same(type, "HEIF") || Same(type, "HEIC") || Same(type, "AVIF")) {
        t.quality = true;
    }
    return t;
}

int32_t CWriterSettings::Probe(int32_t id, const void* value) const {
    PlugInPtr writer = m_shelf != nullptr ? m_shelf->WriterFor(m_format) : nullptr;
    return writer ? writer->SetProperty(id, value) : 0;
}

// TIFF names its schemes; every other writer that compresses takes a zlib-like level.
std::string CWriterSettings::ChooseCompression(const std::string& text) {
    const bool tiff = Same(m_type, "TIFF");
    int32_t value = -1;
    if (tiff)
        value = TiffScheme(text);
    else if (AllDigits(text) && text.size() <= 2)
        value = std::stoi(text);
    const int32_t answer = Probe(kVxPropCompression, &value);
    if (answer == 0) return "--compression does not apply to " + m_type + " files";
    if (answer < 0 || (tiff && value == 0))
        return "--compression: " + m_type + " takes " +
               (tiff ? std::string("none, lzw, deflate or jpeg") : std::string("a level 0-9")) +
               ", got '" + text + "'";
    m_compression = value;
    m_numbers.push_back(kVxPropCompression);
    return "";
}

std::string CWriterSettings::Choose(const CPlugInShelf& shelf, const std::string& format,
                                    const CConvertOptions& options) {
    m_shelf = &shelf;
    m_format = format;
    PlugInPtr writer = shelf.WriterFor(format);
    m_type = writer && writer->GetWritingType() != nullptr ? writer->GetWritingType() : format;
    m_traits = TraitsOf(m_type);
    if (!options.compression.empty()) {
        const std::string problem = ChooseCompression(options.compression);
        if (!problem.empty()) return problem;
    }
    const bool tiffJpeg = Same(m_type, "TIFF") && m_compression == kVxTiffJpeg;
    if (options.quality != 0 && !m_traits.quality && !tiffJpeg)
        return "--quality does not apply to " + m_type + " files" +
               (Same(m_type, "TIFF") ? " unless --compression jpeg" : "");
    if (options.progressive) {
        m_progressive = 1;
        if (Probe(kVxPropProgressive, &m_progressive) != 1)
            return "--progressive does not apply to " + m_type + " files";
        m_numbers.push_back(kVxPropProgressive);
    }
    if (options.subsample != 0) {
        m_subsampling = options.subsample;
        const int32_t answer = Probe(kVxPropSubsampling, &m_subsampling);
        if (answer == 0) return "--subsample does not apply to " + m_type + " files";
        if (answer < 0) return "--subsample: expected 444, 422 or 420";
        m_numbers.push_back(kVxPropSubsampling);
    }
    if (options.depth == 48 && !m_traits.deep)
        return "--depth 48: " + m_type + " files hold 8 bits per sample only";
    if (Same(options.colorSpace, "YCC")) {
        if (!m_traits.ycc) return "--colorspace ycc: " + m_type + " files cannot say YCbCr";
        if (tiffJpeg) return "--colorspace ycc cannot be combined with --compression jpeg";
    }
    return "";
}

void CWriterSettings::Carry(const std::string& icc, const std::string& exif,
                            const std::string& xmp) {
    const struct {
        int32_t id;
        const std::string* bytes;
        const char* words;
    } kBlocks[] = {{kVxPropIccProfile, &icc, "the ICC profile"},
                   {kVxPropExif, &exif, "the Exif block"},
                   {kVxPropXmp, &xmp, "the XMP packet"}};
    for (const auto& b : kBlocks) {
        if (b.bytes->empty()) continue;
        VxByteBlock view;
        view.data = reinterpret_cast<const unsigned char*>(b.bytes->data());
        view.size = uint32_t(b.bytes->size());
        if (Probe(b.id, &view) != 1) {
            m_dropped.push_back(b.words);
            continue;
        }
        m_blocks.push_back(Block{b.id, *b.bytes, VxByteBlock()});
    }
}

CUtilParamArray* CWriterSettings::Entries() {
    if (m_listed) return &m_list;
    for (int32_t id : m_numbers) {
        const int32_t* value = id == kVxPropCompression   ? &m_compression
                               : id == kVxPropProgressive ? &m_progressive
                                                          : &m_subsampling;
        m_list.Add(VxPropertyEntry(id, value));
    }
    for (Block& b : m_blocks) {
        b.view.data = reinterpret_cast<const unsigned char*>(b.bytes.data());
        b.view.size = uint32_t(b.bytes.size());
        m_list.Add(VxPropertyEntry(b.id, &b.view));
    }
    m_listed = true;
    return &m_list;
}

}  // namespace vxtool
