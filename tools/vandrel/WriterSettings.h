// What a conversion tells its writer beyond the line layout: the writer options of the command
// line and the metadata it carries, as plug-in properties (CodecProperties.h) in a request's
// parameter list. Options that the chosen writer has no use for are refused here, before
// anything is read, as a usage error.
#ifndef VANDREL_TOOL_WRITERSETTINGS_H
#define VANDREL_TOOL_WRITERSETTINGS_H

#include <cstdint>
#include <string>
#include <vector>

#include "ConvertOptions.h"
#include "PlugInShelf.h"
#include "vandrel/CodecProperties.h"
#include "vandrel/UtilParam.h"

namespace vxtool {

// What a writing type can hold; an unknown type is taken to hold everything but the lossy
// options, so nothing is flattened or refused for it by guess.
struct CWriterTraits {
    bool alpha = true;
    bool deep = true;  // 16 bits per sample
    bool ycc = false;  // says YCbCr in the file
    bool quality = false;
    bool grey = false;  // writes one-sample lines as a grey image
};
CWriterTraits TraitsOf(const std::string& writingType);

class CWriterSettings {
public:
    CWriterSettings() = default;
    CWriterSettings(const CWriterSettings&) = delete;
    CWriterSettings& operator=(const CWriterSettings&) = delete;

    // Takes the writer options for the writer of format. Empty when they fit; otherwise what
    // is wrong, in words for a usage message.
    std::string Choose(const CPlugInShelf& shelf, const std::string& format,
                       const CConvertOptions& options);

    // Offers the metadata blocks; those the writer cannot hold are dropped and named in
    // dropped() ("the ICC profile", ...).
    void Carry(const std::string& icc, const std::string& exif, const std::string& xmp);
    const std::vector<std::string>& dropped() const { return m_dropped; }

    // The writer's type ("JPEG"), or the format as given when no plug-in of the shelf writes it.
    const std::string& type() const { return m_type; }
    const CWriterTraits& traits() const { return m_traits; }

    // The parameter list carrying every chosen property; it points into this object. Made on
    // the first call, so Choose and Carry come before it.
    CUtilParamArray* Entries();

private:
    struct Block {
        int32_t id;
        std::string bytes;
        VxByteBlock view;
    };
    // Asks a fresh writer instance whether it takes the property: 1, 0 (unknown to it) or a
    // refusal code.
    int32_t Probe(int32_t id, const void* value) const;
    std::string ChooseCompression(const std::string& text);

    const CPlugInShelf* m_shelf = nullptr;
    std::string m_format;
    std::string m_type;
    CWriterTraits m_traits;
    int32_t m_compression = 0;
    int32_t m_progressive = 0;
    int32_t m_subsampling = 0;
    std::vector<int32_t> m_numbers;  // ids of the numeric properties chosen
    std::vector<Block> m_blocks;
    std::vector<std::string> m_dropped;
    CUtilParamArray m_list;
    bool m_listed = false;
};

}  // namespace vxtool

#endif
