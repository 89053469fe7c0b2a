// The fast tag search over any bytes, as a JPEG or a TIFF by name: the tags the tool and the
// camera information ask for, plus two the input names itself.
#include <cstddef>
#include <cstdint>

#include "FuzzSupport.h"
#include "vandrel/TagSearch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const bool jpeg = size >= 2 && data[0] == 0xFF && data[1] == 0xD8;
    const std::string path = vxfuzz::InputFile(data, size, jpeg ? "input.jpg" : "input.tif");
    unsigned short tags[] = {0x0100, 0x0101, 0x0102, 0x010F, 0x0110, 0x0112, 0x0132,
                             0x8773, 0x829A, 0x9003, 0xA001, 0xA002, 0,      0};
    const size_t n = sizeof tags / sizeof tags[0];
    if (size >= 4) {
        tags[n - 2] = static_cast<unsigned short>(data[size - 1] | data[size - 2] << 8);
        tags[n - 1] = static_cast<unsigned short>(data[size - 3] | data[size - 4] << 8);
    }
    CUtilVariant values[n];
    FastTagSearch(path.c_str(), tags, uint32_t(n), values);
    for (const CUtilVariant& value : values) {
        for (uint32_t i = 0; i < value.count() && i < 4096; ++i)
            (void)value.uintAt(i);
        (void)value.text();
    }
    return 0;
}
