// The service over the real PNM codec: files on disk, lines converted on the way in and out.
#include <gtest/gtest.h>

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

// Pixel x of line y as a request delivers it: 16-bit samples as stored, else each reduced with
// the dither after any change to YCC, behind a zero byte on native lines.
std::vector<unsigned char> Expected(const CURequest& request, int32_t x, int32_t y) {
    int v[3] = {Sample16(x, y, 0), Sample16(x, y, 1), Sample16(x, y, 2)};
    if (request.info.IsColorSpace("YCC")) {
        const int rgb[3] = {v[0], v[1], v[2]};
        ref::RgbToYcc(rgb, 32768, v);
    }
    std::vector<unsigned char> out;
    if (request.info.bNative) out.push_back(0);
    for (int c = 0; c < 3; ++c) {
        if (request.info.lColorDepth == 48) {
            const uint16_t w = uint16_t(v[c]);
            out.insert(out.end(), reinterpret_cast<const unsigned char*>(&w),
                       reinterpret_cast<const unsigned char*>(&w) + 2);
        } else {
            out.push_back((unsigned char)ref::Reduce(v[c], y, x));
        }
    }
    return out;
}

TEST_F(PnmServiceTest, A48BitFileReadInEachLayout) {
    const std::string path = dir.file("deep.ppm");
    vxtest::WriteFile(path, Ppm48());
    for (const CURequest& request : {Wanting(48, 0, "RGB"), Wanting(24, 0, "RGB"),
                                     Wanting(24, 0, "YCC"), Wanting(32, 1, "RGB")}) {
        SCOPED_TRACE(testing::Message()
                     << request.info.lColorDepth << " " << request.info.strColorSpace.c_str());
        CUImageInfo info;
        auto lines = ReadAll(path, request, &info);
        ASSERT_EQ(lines.size(), size_t(kHeight));
        EXPECT_EQ(info.lColorDepth, request.info.lColorDepth);
        for (int32_t y = 0; y < kHeight; ++y) {
            for (int32_t x = 0; x < kWidth; ++x) {
                const auto expected = Expected(request, x, y);
                const auto* got = &lines[size_t(y)][size_t(x) * expected.size()];
                ASSERT_TRUE(std::equal(expected.begin(), expected.end(), got))
                    << "pixel " << x << ", line " << y;
            }
        }
    }
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
