#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "FakePlugInSupport.h"
#include "TestSupport.h"
#include "vandrel/PlugIn.h"

namespace {

const std::string kModule = std::string(VANDREL_PLUGIN_DIR) + "/pnm.so";

// The codec as the service sees it: loaded from the build's plug-in folder.
class PnmTest : public ::testing::Test {
protected:
    void SetUp() override {
        module = ::dlopen(kModule.c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(module, nullptr) << ::dlerror();
        auto create = reinterpret_cast<VxCreatePlugInProc>(::dlsym(module, kVxPlugInEntryPoint));
        ASSERT_NE(create, nullptr);
        prototype = create();
        ASSERT_NE(prototype, nullptr);
    }
    void TearDown() override {
        if (prototype != nullptr) prototype->Delete();
        ::dlclose(module);
    }

    struct Instance {
        IPlugIn* p;
        ~Instance() { p->Delete(); }
        IPlugIn* operator->() const { return p; }
    };
    Instance Open(const std::string& file) {
        IPlugIn* instance = prototype->CreateInstance();
        instance->SetFileName(file.c_str());
        return Instance{instance};
    }

    void* module = nullptr;
    IPlugIn* prototype = nullptr;
    vxtest::ScratchDir dir;
};

struct Layout {
    int32_t depth;
    const char* format;
    int32_t channels() const { return depth == 8 || depth == 16 ? 1 : 3; }
    int32_t bytesPerSample() const { return depth == 16 || depth == 48 ? 2 : 1; }
};

// A pattern that differs in every byte of a 16-bit sample and from line to line.
std::vector<unsigned char> PatternLine(const Layout& layout, int32_t width, int32_t y) {
    std::vector<unsigned char> line(size_t(VxPaddedRowBytes(width, layout.depth)), 0);
    const int32_t samples = width * layout.channels();
    for (int32_t i = 0; i < samples; ++i) {
        if (layout.bytesPerSample() == 1) {
            line[size_t(i)] = (unsigned char)(i * 7 + y * 13);
        } else {
            uint16_t v = uint16_t(i * 2593 + y * 40961 + 1);
            std::memcpy(&line[size_t(2 * i)], &v, 2);
        }
    }
    return line;
}

// A line as the reader delivers it: grey samples repeated as R, G, B.
std::vector<unsigned char> AsReadBack(const Layout& layout, int32_t width,
                                      const std::vector<unsigned char>& written) {
    if (layout.channels() == 3) return written;
    const size_t bps = size_t(layout.bytesPerSample());
    std::vector<unsigned char> rgb(size_t(VxPaddedRowBytes(width, layout.depth * 3)), 0);
    for (size_t x = 0; x < size_t(width); ++x) {
        for (size_t c = 0; c < 3; ++c)
            std::memcpy(&rgb[(3 * x + c) * bps], &written[x * bps], bps);
    }
    return rgb;
}

CURequest WriteRequest(const Layout& layout, int32_t width, int32_t height) {
    CURequest r;
    r.info.lWidth = width;
    r.info.lHeight = height;
    r.info.lColorDepth = layout.depth;
    r.strFormatName = layout.format;
    return r;
}

TEST_F(PnmTest, ReadsBackWhatItWritesByteForByte) {
    const Layout layouts[] = {{8, "PGM"}, {16, "PNM"}, {24, "PPM"}, {48, "PNM"}, {24, "pnm"}};
    for (const Layout& layout : layouts) {
        for (int32_t width : {1, 5, 64}) {
            const int32_t height = 7;
            SCOPED_TRACE(std::to_string(layout.depth) + " bits, width " + std::to_string(width));
            const std::string file = dir.file("rt.pnm");
            {
                auto writer = Open(file);
                ASSERT_EQ(
                    writer->SetRequest(WriteRequest(layout, width, height), CUImageFileStatus()),
                    1);
                ASSERT_EQ(writer->Open("w"), 1);
                for (int32_t y = 0; y < height; ++y)
                    ASSERT_EQ(writer->WriteLine(PatternLine(layout, width, y).data(), nullptr), 1);
                ASSERT_EQ(writer->Close(), 1);
            }
            const std::string bytes = vxtest::ReadFile(file);
            const std::string header = std::string(layout.channels() == 1 ? "P5" : "P6") + "\n" +
                                       std::to_string(width) + " " + std::to_string(height) + "\n" +
                                       (layout.bytesPerSample() == 2 ? "65535" : "255") + "\n";
            ASSERT_EQ(bytes.substr(0, header.size()), header);
            const size_t rowBytes = size_t(width * layout.channels() * layout.bytesPerSample());
            ASSERT_EQ(bytes.size(), header.size() + rowBytes * height);
            if (layout.bytesPerSample() == 2) {  // most significant byte first in the file
                EXPECT_EQ((unsigned char)bytes[header.size()], 0);
                EXPECT_EQ((unsigned char)bytes[header.size() + 1], 1);
            }

            auto reader = Open(file);
            CUImageFileStatus status;
            ASSERT_EQ(reader->GetFileStatus(&status), 1);
            EXPECT_EQ(status.info.lWidth, width);
            EXPECT_EQ(status.info.lHeight, height);
            const int32_t delivered = layout.bytesPerSample() * 24;  // grey comes as RGB
            EXPECT_EQ(status.info.lColorDepth, delivered);
            EXPECT_EQ(status.info.RowBytes(), VxPaddedRowBytes(width, delivered));
            EXPECT_STREQ(status.strFormat, layout.channels() == 1 ? "PGM" : "PPM");
            EXPECT_TRUE(status.info.IsColorSpace("RGB"));
            EXPECT_EQ(status.info2.lColorDepth, 0);
            ASSERT_EQ(reader->Open("r"), 1);
            std::vector<unsigned char> line(size_t(status.info.RowBytes()), 0);
            for (int32_t y = 0; y < height; ++y) {
                ASSERT_EQ(reader->ReadLine(line.data(), nullptr), 1);
                ASSERT_EQ(line, AsReadBack(layout, width, PatternLine(layout, width, y)))
                    << "line " << y;
            }
            EXPECT_EQ(reader->ReadLine(line.data(), nullptr), kVxErrCodecState);
            EXPECT_EQ(reader->Close(), 1);
        }
    }
}

TEST_F(PnmTest, WritingRefusesLayoutsTheFormatCannotHold) {
    struct Case {
        Layout layout;
        int32_t width, native;
        const char* space;
        int32_t expected;
    } cases[] = {
        {{8, "PPM"}, 4, 0, "RGB", kVxErrCodecUnsupported},
        {{24, "PGM"}, 4, 0, "RGB", kVxErrCodecUnsupported},
        {{32, "PNM"}, 4, 0, "RGB", kVxErrCodecUnsupported},
        {{32, "PNM"}, 4, 1, "RGB", kVxErrCodecUnsupported},
        {{24, "PNM"}, 4, 0, "YCC", kVxErrCodecUnsupported},
        {{24, "PNM"}, 0, 0, "RGB", kVxErrCodecUnsupported},
        {{24, "PNM"}, (1 << 24) + 1, 0, "RGB", kVxErrCodecTooLarge},
    };
    for (const Case& c : cases) {
        CURequest r = WriteRequest(c.layout, c.width, 2);
        r.info.bNative = c.native;
        r.info.strColorSpace = c.space;
        auto writer = Open(dir.file("no.pnm"));
        writer->SetRequest(r, CUImageFileStatus());
        EXPECT_EQ(writer->Open("w"), c.expected) << c.layout.format << " " << c.layout.depth;
        EXPECT_FALSE(vxtest::Exists(dir.file("no.pnm")));
    }
}

TEST_F(PnmTest, AnUnfinishedFileIsReportedAtClose) {
    const Layout layout{24, "PPM"};
    auto writer = Open(dir.file("short.ppm"));
    writer->SetRequest(WriteRequest(layout, 3, 4), CUImageFileStatus());
    ASSERT_EQ(writer->Open("w"), 1);
    ASSERT_EQ(writer->WriteLine(PatternLine(layout, 3, 0).data(), nullptr), 1);
    EXPECT_EQ(writer->Close(), kVxErrCodecState);
}

TEST_F(PnmTest, SeeksForwardAndBackward) {
    const Layout layout{48, "PPM"};
    const int32_t width = 6, height = 10;
    const std::string file = dir.file("seek.ppm");
    {
        auto writer = Open(file);
        writer->SetRequest(WriteRequest(layout, width, height), CUImageFileStatus());
        ASSERT_EQ(writer->Open("w"), 1);
        for (int32_t y = 0; y < height; ++y)
            ASSERT_EQ(writer->WriteLine(PatternLine(layout, width, y).data(), nullptr), 1);
        ASSERT_EQ(writer->Close(), 1);
    }
    auto reader = Open(file);
    EXPECT_EQ(reader->SeekLine(0, 0), kVxErrCodecState);  // not open yet
    ASSERT_EQ(reader->Open("r"), 1);
    struct Step {
        int32_t line;
        int origin;
        int32_t expected;
        int32_t nextLine;  // line read after the seek, -1 for none
    } steps[] = {
        {5, 0, 1, 5},   // forward from the start
        {-4, 1, 1, 2},  // backward from the current line (6 after reading line 5)
        {-1, 2, 1, 9},  // last line, counted from the end
        {0, 0, 1, 0},   // back to the start
        {11, 0, kVxErrCannotSeek, 1},
        {-1, 0, kVxErrCannotSeek, 2},
        {0, 2, 1, -1},  // the end itself is a position, but holds no line
        {0, 7, kVxErrInvalidArgument, -1},
    };
    std::vector<unsigned char> line(size_t(VxPaddedRowBytes(width, 48)));
    for (const Step& s : steps) {
        EXPECT_EQ(reader->SeekLine(s.line, s.origin), s.expected) << s.line << "/" << s.origin;
        if (s.nextLine < 0) continue;
        ASSERT_EQ(reader->ReadLine(line.data(), nullptr), 1);
        EXPECT_EQ(line, PatternLine(layout, width, s.nextLine)) << s.line << "/" << s.origin;
    }
    std::fill(line.begin(), line.end(), 0);
    EXPECT_EQ(reader->ReadLine(line.data(), nullptr), kVxErrCodecState);
}

TEST_F(PnmTest, ATruncatedFileFailsAtTheFirstMissingLine) {
    const std::string file = dir.file("cut.ppm");
    // 4 x 3 RGB: two whole lines of 12 bytes, then half a line.
    vxtest::WriteFile(file, "P6\n4 3\n255\n" + std::string(24, 'a') + std::string(6, 'b'));
    auto reader = Open(file);
    CUImageFileStatus status;
    ASSERT_EQ(reader->GetFileStatus(&status), 1);
    ASSERT_EQ(reader->Open("r"), 1);
    std::vector<unsigned char> line(size_t(status.info.RowBytes()));
    EXPECT_EQ(reader->ReadLine(line.data(), nullptr), 1);
    EXPECT_EQ(reader->ReadLine(line.data(), nullptr), 1);
    EXPECT_EQ(reader->ReadLine(line.data(), nullptr), kVxErrCodecData);
    EXPECT_EQ(reader->Close(), 1);
}

TEST_F(PnmTest, DamagedHeadersGiveCodesNotCrashes) {
    const std::string raster(64, '\x10');
    struct Case {
        std::string bytes;
        int32_t expected;
    } cases[] = {
        {"", kVxErrCodecFormat},
        {"P6", kVxErrCodecFormat},
        {"P6\n4 3\n255", kVxErrCodecFormat},  // no byte after the largest value
        {"P6 4 3 0\n", kVxErrCodecFormat},
        {"P6 4 3 65536\n", kVxErrCodecFormat},
        {"P6 0 3 255\n", kVxErrCodecFormat},
        {"P6 4 x 255\n", kVxErrCodecFormat},
        {"P64 3 255\n", kVxErrCodecFormat},
        {"Q6 4 3 255\n", kVxErrCodecFormat},
        {"P3 4 3 255\n", kVxErrCodecUnsupported},
        {"P4 4 3\n", kVxErrCodecUnsupported},
        {"P6 99999999999999999999 3 255\n", kVxErrCodecTooLarge},
        {"P5 3 16777217 255\n", kVxErrCodecTooLarge},
        {"P6 #comment\n4 # more\n3\n255\n" + raster, 1},
        {"P5\r\n4\t3 255\r" + raster, 1},
    };
    for (const Case& c : cases) {
        const std::string file = dir.file("bad.pnm");
        vxtest::WriteFile(file, c.bytes);
        auto reader = Open(file);
        CUImageFileStatus status;
        EXPECT_EQ(reader->GetFileStatus(&status), c.expected) << c.bytes.substr(0, 30);
        EXPECT_EQ(reader->Open("r"), c.expected) << c.bytes.substr(0, 30);
        reader->Close();
    }
    auto missing = Open(dir.file("none.pnm"));
    CUImageFileStatus status;
    EXPECT_EQ(missing->GetFileStatus(&status), kVxErrCodecOpen);
    EXPECT_EQ(missing->Open("r"), kVxErrCodecOpen);
}

TEST_F(PnmTest, SamplesOfSmallerRangesAreStretchedToFullRange) {
    // Grey samples, stretched and then delivered as R = G = B.
    struct Case {
        std::string file;
        std::vector<unsigned char> expected;  // 8-bit samples, or 16-bit in host order
    } cases[] = {
        {"P5 4 1 15\n" + std::string("\x00\x0f\x07\x14", 4),
         {0, 0, 0, 255, 255, 255, 119, 119, 119, 255, 255, 255}},
        {"P5 2 1 1023\n" + std::string("\x03\xff\x00\x01", 4), std::vector<unsigned char>(12)},
    };
    const uint16_t wide[] = {65535, 65535, 65535, 64, 64, 64};  // 1023 -> 65535, 1 -> 64.06
    std::memcpy(cases[1].expected.data(), wide, 12);
    for (const Case& c : cases) {
        const std::string file = dir.file("range.pgm");
        vxtest::WriteFile(file, c.file);
        auto reader = Open(file);
        ASSERT_EQ(reader->Open("r"), 1);
        std::vector<unsigned char> line(16, 0xEE);
        ASSERT_EQ(reader->ReadLine(line.data(), nullptr), 1);
        line.resize(c.expected.size());
        EXPECT_EQ(line, c.expected);
    }
}

TEST_F(PnmTest, CallsOutOfOrderAreRefused) {
    auto instance = Open(dir.file("x.ppm"));
    unsigned char line[16];
    EXPECT_EQ(instance->ReadLine(line, nullptr), kVxErrCodecState);
    EXPECT_EQ(instance->WriteLine(line, nullptr), kVxErrCodecState);
    EXPECT_EQ(instance->Open("x"), kVxErrCodecOpen);
    instance->SetRequest(WriteRequest({24, "PPM"}, 1, 1), CUImageFileStatus());
    ASSERT_EQ(instance->Open("w"), 1);
    EXPECT_EQ(instance->Open("w"), kVxErrCodecState);
    EXPECT_EQ(instance->WriteLine(nullptr, nullptr), kVxErrInvalidArgument);
    EXPECT_EQ(instance->WriteLine(line, nullptr), 1);
    EXPECT_EQ(instance->WriteLine(line, nullptr), kVxErrCodecState);  // beyond the height
    EXPECT_EQ(instance->Close(), 1);
}

TEST_F(PnmTest, SelectionByExtensionSignatureAndFormatName) {
    vxtest::WriteFile(dir.file("binary.dat"), "P6\n1 1\n255\nabc");
    vxtest::WriteFile(dir.file("ascii.dat"), "P3\n1 1\n255\n1 2 3\n");
    struct Case {
        std::string file;
        int32_t expected;
    } cases[] = {
        {dir.file("missing.ppm"), 1}, {dir.file("MISSING.PGM"), 1}, {"/a.pnm/file", 1},
        {dir.file("missing.jpg"), 0}, {dir.file("binary.dat"), 1},  {dir.file("ascii.dat"), 0},
        {dir.file("noextension"), 0}, {dir.file("x.pbmx"), 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(prototype->IsSupportedFile(c.file.c_str()), c.expected) << c.file;
    EXPECT_EQ(prototype->AddExtensionName(".pbmx"), 1);
    EXPECT_EQ(prototype->IsSupportedFile(dir.file("x.pbmx").c_str()), 1);
    EXPECT_STREQ(prototype->GetExtensionName(), ".pnm;.ppm;.pgm;PNM;.pbmx;");

    for (const char* name : {"PNM", "PPM", "pgm"})
        EXPECT_EQ(prototype->IsSupportedFormat(name), 1);
    for (const char* name : {"JPEG", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(prototype->IsSupportedFormat(name), 0);
    EXPECT_STREQ(prototype->GetReadingType(), "PNM");
}

TEST_F(PnmTest, TheServiceChoosesItForPnmFiles) {
    CBundleLoadRec::ResetForTesting();
    const std::string file = dir.file("picture.ppm");
    vxtest::WriteFile(file, "P6\n2 2\n255\n" + std::string(12, '\x7f'));
    auto service = vxtest::MakeService(VANDREL_PLUGIN_DIR);
    EXPECT_NE(std::string(service->GetSupportedReadingType()).find(" PNM"), std::string::npos);
    int32_t h = service->GetImageHandle(file.c_str());
    ASSERT_GT(h, 0);
    CUImageFileStatus status;
    ASSERT_EQ(service->GetPluginObj(h)->GetFileStatus(&status), 1);
    EXPECT_EQ(status.info.lWidth, 2);
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
    h = service->GetImageHandle(dir.file("new.out").c_str(), "PGM");
    EXPECT_GT(h, 0);
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
    service.reset();
    CBundleLoadRec::ResetForTesting();
}

}  // namespace
