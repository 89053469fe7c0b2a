// The service over the real PNM codec: files on disk, lines converted on the way in and out.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "FakePlugInSupport.h"
#include "RecordingService.h"
#include "TestSupport.h"

namespace {

namespace ref = vxtest::ref;

class PnmServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        CBundleLoadRec::ResetForTesting();
        service = vxtest::MakeService(VANDREL_PLUGIN_DIR);
        ASSERT_NE(service->GetDecoderVersion("PNM"), nullptr);
    }
    void TearDown() override {
        service.reset();
        CBundleLoadRec::ResetForTesting();
    }

    // Reads every line of the file through the service in the requested layout.
    std::vector<std::vector<unsigned char>> ReadAll(const std::string& path,
                                                    const CURequest& request, CUImageInfo* info) {
        std::vector<std::vector<unsigned char>> lines;
        int32_t h = service->GetImageHandle(path.c_str());
        EXPECT_GT(h, 0);
        CUImageFileStatus status;
        EXPECT_EQ(service->GetFileStatus(h, &status), 1);
        EXPECT_EQ(service->BeginReadLine(h, request, info, nullptr), 1);
        for (int32_t y = 0; y < status.info.lHeight; ++y) {
            std::vector<unsigned char> line(size_t(info->RowBytes()));
            EXPECT_EQ(service->ReadLine(h, static_cast<void*>(line.data()), nullptr), 1);
            lines.push_back(line);
        }
        EXPECT_EQ(service->EndReadLine(h), 1);
        EXPECT_EQ(service->DeleteImageHandle(h), 1);
        return lines;
    }

    vxtest::ScratchDir dir;
    vxtest::ServicePtr service;
};

constexpr int32_t kWidth = 7, kHeight = 4;

// Sample c of pixel x on line y of the 16-bit test picture; spans the whole range.
int Sample16(int32_t x, int32_t y, int c) {
    return (x * 9173 + y * 20011 + c * 31337 + 255) % 65536;
}

std::string Ppm48() {
    std::string bytes =
        "P6\n" + std::to_string(kWidth) + " " + std::to_string(kHeight) + "\n65535\n";
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = 0; x < kWidth; ++x) {
            for (int c = 0; c < 3; ++c) {
                const int v = Sample16(x, y, c);
                bytes += char(v >> 8);
                bytes += char(v & 0xFF);
            }
        }
    }
    return bytes;
}

CURequest Wanting(int32_t depth, int32_t native, const char* space) {
    CURequest r;
    r.info.lColorDepth = depth;
    r.info.bNative = native;
    r.info.strColorSpace = space;
    return r;
}

// Expected output pixel: bytes of pixel x on line y.
using PixelOracle = std::function<std::vector<unsigned char>(int32_t x, int32_t y)>;

TEST_F(PnmServiceTest, A48BitFileReadInEachLayout) {
    const std::string path = dir.file("deep.ppm");
    vxtest::WriteFile(path, Ppm48());
    auto rgb = [](int32_t x, int32_t y) {
        return std::vector<int>{Sample16(x, y, 0), Sample16(x, y, 1), Sample16(x, y, 2)};
    };
    struct Case {
        const char* name;
        CURequest request;
        int32_t bytesPerPixel;
        PixelOracle pixel;
    } cases[] = {
        {"as stored", Wanting(48, 0, "RGB"), 6,
         [&](int32_t x, int32_t y) {
             std::vector<unsigned char> out;
             for (int v : rgb(x, y)) {
                 const uint16_t w = uint16_t(v);
                 out.push_back(reinterpret_cast<const unsigned char*>(&w)[0]);
                 out.push_back(reinterpret_cast<const unsigned char*>(&w)[1]);
             }
             return out;
         }},
        {"24-bit", Wanting(24, 0, "RGB"), 3,
         [&](int32_t x, int32_t y) {
             std::vector<unsigned char> out;
             for (int v : rgb(x, y))
                 out.push_back((unsigned char)ref::Reduce(v, y, x));
             return out;
         }},
        {"24-bit YCC", Wanting(24, 0, "YCC"), 3,
         [&](int32_t x, int32_t y) {
             const std::vector<int> in = rgb(x, y);
             int ycc[3];
             ref::RgbToYcc(in.data(), 32768, ycc);
             std::vector<unsigned char> out;
             for (int v : ycc)
                 out.push_back((unsigned char)ref::Reduce(v, y, x));
             return out;
         }},
        {"native", Wanting(32, 1, "RGB"), 4,
         [&](int32_t x, int32_t y) {
             std::vector<unsigned char> out{0};
             for (int v : rgb(x, y))
                 out.push_back((unsigned char)ref::Reduce(v, y, x));
             return out;
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CUImageInfo info;
        auto lines = ReadAll(path, c.request, &info);
        ASSERT_EQ(lines.size(), size_t(kHeight));
        EXPECT_EQ(info.lColorDepth, c.bytesPerPixel * 8);
        for (int32_t y = 0; y < kHeight; ++y) {
            for (int32_t x = 0; x < kWidth; ++x) {
                const auto expected = c.pixel(x, y);
                const auto* got = &lines[size_t(y)][size_t(x * c.bytesPerPixel)];
                ASSERT_TRUE(std::equal(expected.begin(), expected.end(), got))
                    << "pixel " << x << ", line " << y;
            }
        }
    }
}

TEST_F(PnmServiceTest, GreyFilesAreReadAsRgbLines) {
    const std::string path = dir.file("grey.pgm");
    vxtest::WriteFile(path, "P5\n3 2\n255\n" + std::string("\x01\x80\xff\x00\x10\x20", 6));
    CUImageFileStatus status;
    ASSERT_EQ(service->GetFileStatus(path.c_str(), &status), 1);
    EXPECT_EQ(status.info.lColorDepth, 24);
    EXPECT_STREQ(status.strFormat, "PGM");
    CUImageInfo info;
    auto lines = ReadAll(path, CURequest(), &info);
    ASSERT_EQ(lines.size(), 2u);
    const std::vector<unsigned char> first{1, 1, 1, 0x80, 0x80, 0x80, 0xff, 0xff, 0xff};
    EXPECT_TRUE(std::equal(first.begin(), first.end(), lines[0].begin()));
}

TEST_F(PnmServiceTest, NativeLinesWrittenToA24BitFileReadBackLogical) {
    const std::string path = dir.file("native.ppm");
    CURequest request = Wanting(24, 0, "RGB");
    request.strFormatName = "PPM";
    request.info.lWidth = kWidth;
    request.info.lHeight = kHeight;
    CUImageInfo caller;
    caller.lWidth = kWidth;
    caller.lColorDepth = 32;
    caller.bNative = 1;
    int32_t h = service->BeginWriteLine(path.c_str(), request, &caller, nullptr);
    ASSERT_GT(h, 0);
    std::vector<std::vector<unsigned char>> native;
    for (int32_t y = 0; y < kHeight; ++y) {
        std::vector<unsigned char> line(kWidth * 4);
        for (size_t i = 0; i < line.size(); ++i)
            line[i] = (unsigned char)(i * 37 + y * 11);
        ASSERT_EQ(service->WriteLine(h, line.data(), nullptr), 1);
        native.push_back(line);
    }
    EXPECT_EQ(service->EndWriteLine(h), 1);
    EXPECT_EQ(service->DeleteImageHandle(h), 1);

    CUImageInfo info;
    auto lines = ReadAll(path, CURequest(), &info);
    ASSERT_EQ(lines.size(), size_t(kHeight));
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = 0; x < kWidth; ++x) {
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(lines[size_t(y)][size_t(3 * x + c)],
                          native[size_t(y)][size_t(4 * x + 1 + c)]);
        }
    }
}

TEST_F(PnmServiceTest, GreyLinesHandedOverUnconvertedMakeAGreyFile) {
    const std::string path = dir.file("written.pgm");
    CURequest request = Wanting(8, 0, "RGB");
    request.strFormatName = "PGM";
    request.info.lWidth = 3;
    request.info.lHeight = 1;
    int32_t h = service->BeginWriteLine(path.c_str(), request, nullptr, nullptr);
    ASSERT_GT(h, 0);
    const unsigned char grey[4] = {9, 99, 199, 0};
    ASSERT_EQ(service->WriteLine(h, grey, nullptr), 1);
    EXPECT_EQ(service->EndWriteLine(h), 1);
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
    EXPECT_EQ(vxtest::ReadFile(path), "P5\n3 1\n255\n" + std::string("\x09\x63\xc7", 3));

    // Grey lines cannot be converted to: with the caller's layout given, the request is refused.
    CUImageInfo caller;
    caller.lWidth = 3;
    EXPECT_EQ(service->BeginWriteLine(dir.file("refused.pgm").c_str(), request, &caller, nullptr),
              kVxErrInvalidArgument);
}

}  // namespace
