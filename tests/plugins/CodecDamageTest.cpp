// Damaged and hostile files: every codec answers with a failure or a warning, never a crash,
// and refuses headers that claim gigapixels before allocating anything for them.
#include <gtest/gtest.h>

#include <zlib.h>

#include "CodecTestSupport.h"

namespace vxtest {
namespace {

struct Codec {
    const char* name;
    const char* extension;
    IPlugIn* (*prototype)();
    int32_t depth;
    int32_t alphaDepth;
};

const Codec kCodecs[] = {
    {"jpeg", ".jpg", Jpeg, 24, 0},
    {"png", ".png", Png, 24, 8},
    {"tiff", ".tif", Tiff, 48, 16},
};

std::string ValidFile(const ScratchDir& dir, const Codec& codec) {
    std::string path = dir.file(std::string("valid") + codec.extension);
    Image img = MakeImage(64, 48, codec.depth, codec.alphaDepth);
    EXPECT_EQ(EncodeFile(codec.prototype(), path, img, 90), 1);
    return ReadFile(path);
}

TEST(CodecDamage, MissingForeignAndTruncatedFilesFail) {
    ScratchDir dir;
    WriteFile(dir.file("text"), "this is not an image at all, only some words");
    for (const Codec& codec : kCodecs) {
        EXPECT_EQ(DecodeFile(codec.prototype(), dir.file("missing")).code, kVxErrCodecOpen);
        EXPECT_TRUE(DecodeFile(codec.prototype(), dir.file("text")).Failed());
        const std::string bytes = ValidFile(dir, codec);
        ASSERT_GT(bytes.size(), 200u);
        const size_t cuts[] = {
            0, 3, 8, 20, 100, bytes.size() / 2, bytes.size() * 9 / 10, bytes.size() - 1};
        for (size_t cut : cuts) {
            SCOPED_TRACE(testing::Message()
                         << codec.name << " cut at " << cut << " of " << bytes.size());
            std::string path = dir.file(std::string("cut") + codec.extension);
            WriteFile(path, bytes.substr(0, cut));
            Decoded d = DecodeFile(codec.prototype(), path);
            EXPECT_LT(d.code, 0);
            if (cut <= 20) {
                EXPECT_TRUE(d.Failed()) << "nothing to decode in " << cut << " bytes";
            }
        }
    }
}

// A JPEG that ends early still delivers every line (grey below the cut) with a warning.
TEST(CodecDamage, JpegCutInItsImageDataIsAWarningWithAllLines) {
    ScratchDir dir;
    const std::string bytes = ValidFile(dir, kCodecs[0]);
    WriteFile(dir.file("cut.jpg"), bytes.substr(0, bytes.size() * 2 / 3));
    Decoded d = DecodeFile(Jpeg(), dir.file("cut.jpg"));
    EXPECT_EQ(d.code, kVxWarnCodecData);
    EXPECT_EQ(d.image.color.size(), size_t(64) * 48 * 3);
}

TEST(CodecDamage, FlippedBitsNeverCrashAndFailuresStopCleanly) {
    ScratchDir dir;
    for (const Codec& codec : kCodecs) {
        const std::string bytes = ValidFile(dir, codec);
        uint32_t seed = 12345;
        int complaints = 0;
        for (int trial = 0; trial < 60; ++trial) {
            std::string damaged = bytes;
            for (int flips = 0; flips < 1 + trial % 4; ++flips) {
                seed = seed * 1103515245u + 12345u;
                size_t at = (seed >> 8) % damaged.size();
                damaged[at] = char(damaged[at] ^ (1 << (seed >> 28) % 8));
            }
            SCOPED_TRACE(testing::Message() << codec.name << " trial " << trial);
            std::string path = dir.file(std::string("flip") + codec.extension);
            WriteFile(path, damaged);
            Decoded d = DecodeFile(codec.prototype(), path);
            if (d.code < 0) ++complaints;
            if (!d.Failed()) {
                EXPECT_EQ(d.image.color.size(),
                          size_t(d.image.width) * d.image.height * d.image.depth / 8);
            }
        }
        EXPECT_GT(complaints, 0) << codec.name << " never noticed sixty damaged files";
    }
}

// Dimension fields rewritten to claim billions of pixels; the rest of the file is small.
std::string GiantJpeg(const std::string& valid) {
    std::string bytes = valid;
    size_t sof = bytes.find("\xFF\xC0");
    if (sof == std::string::npos) return "";
    bytes[sof + 5] = bytes[sof + 7] = char(0xFF);  // height and width 0xFFDC = 65500
    bytes[sof + 6] = bytes[sof + 8] = char(0xDC);
    return bytes;
}

std::string Chunk(const char* type, const std::string& data) {
    auto be32 = [](uint32_t v) {
        return std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    };
    std::string body = std::string(type, 4) + data;
    uLong crc = crc32(0, reinterpret_cast<const Bytef*>(body.data()), uInt(body.size()));
    return be32(uint32_t(data.size())) + body + be32(uint32_t(crc));
}

std::string GiantPng() {
    std::string ihdr = {0, 1, char(0x86), char(0xA0), 0, 1, char(0x86), char(0xA0), 8, 2, 0, 0, 0};
    return std::string("\x89PNG\r\n\x1A\n", 8) + Chunk("IHDR", ihdr) + Chunk("IDAT", "") +
           Chunk("IEND", "");
}

std::string GiantTiff() {
    TiffBlock block(false);
    block.Numbers(0, 0x0100, TiffBlock::kLong, {100000});  // width
    block.Numbers(0, 0x0101, TiffBlock::kLong, {100000});  // height
    block.Numbers(0, 0x0102, TiffBlock::kShort, {8, 8, 8});
    block.Numbers(0, 0x0106, TiffBlock::kShort, {2});
    block.Numbers(0, 0x0111, TiffBlock::kLong, {8});
    block.Numbers(0, 0x0115, TiffBlock::kShort, {3});
    block.Numbers(0, 0x0116, TiffBlock::kLong, {100000});
    block.Numbers(0, 0x0117, TiffBlock::kLong, {30000});
    return block.Build();
}

TEST(CodecDamage, GigapixelHeadersAreRefusedBeforeAnythingIsAllocated) {
    ScratchDir dir;
    const std::string validJpeg = ValidFile(dir, kCodecs[0]);
    const struct {
        const char* name;
        IPlugIn* (*prototype)();
        std::string bytes;
    } cases[] = {
        {"giant.jpg", Jpeg, GiantJpeg(validJpeg)},
        {"giant.png", Png, GiantPng()},
        {"giant.tif", Tiff, GiantTiff()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_FALSE(c.bytes.empty());
        WriteFile(dir.file(c.name), c.bytes);
        Instance plugIn(c.prototype(), dir.file(c.name));
        CUImageFileStatus status;
        EXPECT_EQ(plugIn->GetFileStatus(&status), kVxErrCodecTooLarge);
        plugIn->SetRequest(CURequest(), status);
        EXPECT_EQ(plugIn->Open("r"), kVxErrCodecTooLarge);
        std::vector<unsigned char> line(64);
        EXPECT_EQ(plugIn->ReadLine(line.data(), nullptr), kVxErrCodecState);
    }
}

}  // namespace
}  // namespace vxtest
