// Drawing into a graphics port: containers drawn at the same size and scaled, with and without
// an alpha plane, the checks that refuse a drawing before anything is read, the decode-first
// entries over a stand-in service and over real PPM and PNG files, and writing from a port.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>

#include "FakePlugInSupport.h"
#include "TestSupport.h"
#include "macro/MacroTestSupport.h"
#include "vandrel/GraphicsPort.h"

using namespace vxtest;

namespace {

using Pixel = std::array<unsigned char, 4>;
constexpr unsigned char kUntouched = 0xEE;

struct WorldDeleter {
    void operator()(OpaqueGrafPtr* w) const { DisposeGWorld(w); }
};
using PortPtr = std::unique_ptr<OpaqueGrafPtr, WorldDeleter>;

// A 32-bit port of width x height whose pixels all start as kUntouched bytes.
PortPtr NewPort(int32_t width, int32_t height) {
    Rect bounds;
    SetRect(&bounds, 0, 0, width, height);
    OpaqueGrafPtr* port = nullptr;
    EXPECT_EQ(NewGWorld(&port, 32, &bounds, 0), noErr);
    PixMapHandle pm = GetGWorldPixMap(port);
    std::memset(GetPixBaseAddr(pm), kUntouched, size_t(GetPixRowBytes(pm)) * size_t(height));
    return PortPtr(port);
}

Pixel PixelOf(OpaqueGrafPtr* port, int32_t x, int32_t y) {
    PixMapHandle pm = GetGWorldPixMap(port);
    Pixel p;
    std::memcpy(p.data(), GetPixBaseAddr(pm) + y * GetPixRowBytes(pm) + 4 * x, 4);
    return p;
}

bool IsUntouched(OpaqueGrafPtr* port) {
    PixMapHandle pm = GetGWorldPixMap(port);
    const int32_t height = pm->bounds.bottom - pm->bounds.top;
    const auto* p = reinterpret_cast<const unsigned char*>(GetPixBaseAddr(pm));
    for (int32_t i = 0; i < GetPixRowBytes(pm) * height; ++i)
        if (p[i] != kUntouched) return false;
    return true;
}

// Checks that the port holds, from (left, top) onwards, source(col, row) for the listed source
// columns and rows, and nothing anywhere else.
template <typename Source>
void ExpectDrawn(OpaqueGrafPtr* port, int32_t left, int32_t top, const std::vector<int32_t>& cols,
                 const std::vector<int32_t>& rows, Source source, const char* what) {
    PixMapHandle pm = GetGWorldPixMap(port);
    for (int32_t y = 0; y < pm->bounds.bottom; ++y)
        for (int32_t x = 0; x < pm->bounds.right; ++x) {
            const size_t i = size_t(x - left), j = size_t(y - top);
            const bool drawn = x >= left && y >= top && i < cols.size() && j < rows.size();
            const Pixel want = drawn ? source(cols[i], rows[j])
                                     : Pixel{kUntouched, kUntouched, kUntouched, kUntouched};
            ASSERT_EQ(PixelOf(port, x, y), want) << what << " at " << x << "," << y;
        }
}

// The 32-bit test pattern, its alpha sample in the first byte when wanted.
auto Pattern(bool withAlpha) {
    return [withAlpha](int32_t x, int32_t y) {
        Pixel p;
        for (int32_t c = 0; c < 4; ++c)
            p[size_t(c)] = MemImage::Sample(x, y, c);
        if (withAlpha) p[0] = (unsigned char)(x + 100 * y);
        return p;
    };
}

// A port of another depth, as a foreign one would describe itself.
struct SixteenBitPort {
    std::vector<unsigned char> pixels = std::vector<unsigned char>(8 * 6 * 2, kUntouched);
    OpaqueGrafPtr port{};
    SixteenBitPort() {
        port.pixMap.baseAddr = reinterpret_cast<char*>(pixels.data());
        port.pixMap.rowBytes = 16;
        SetRect(&port.pixMap.bounds, 0, 0, 8, 6);
        port.pixMap.pixelSize = 16;
    }
};

std::vector<int32_t> Span(int32_t from, int32_t count) {
    std::vector<int32_t> v;
    for (int32_t i = 0; i < count; ++i)
        v.push_back(from + i);
    return v;
}

struct Rect4 {
    int32_t l, t, r, b;
};

class MacroPortTest : public ::testing::Test {
protected:
    void SetUp() override {
        pattern = MemImage::Make(8, 6, 32, 8);
        image = ContainerOf(pattern);
        alpha = AlphaContainerOf(pattern);
        service.files["pattern.img"] = pattern;
        macro = NewMacro(&service);
    }
    int32_t Draw(OpaqueGrafPtr* port, Rect4 s, Rect4 d, IUtilContainerIF* withAlpha = nullptr) {
        return macro->GetImage(image.get(), withAlpha, port, s.l, s.t, s.r, s.b, d.l, d.t, d.r,
                               d.b);
    }

    MemImage pattern;
    ContainerPtr image, alpha;
    ScriptedService service;
    MacroPtr macro;
};

TEST_F(MacroPortTest, ContainerRectanglesMustLieWithinTheImageAndThePort) {
    struct Case {
        const char* what;
        Rect4 source, destination;
        int32_t portWidth;
        int32_t expected;
    };
    constexpr int32_t kNo = kVxErrMacroUnsupported;
    const Case cases[] = {
        {"right and bottom edges on the image's border", {0, 0, 8, 6}, {0, 0, 8, 6}, 10, 1},
        {"source one column beyond the image", {0, 0, 9, 6}, {0, 0, 8, 6}, 10, kNo},
        {"source one line beyond the image", {0, 0, 8, 7}, {0, 0, 8, 6}, 10, kNo},
        {"destination beyond the image's size", {0, 0, 4, 4}, {0, 0, 9, 4}, 10, kNo},
        {"negative left edge", {-1, 0, 4, 4}, {0, 0, 5, 4}, 10, kNo},
        {"empty source", {2, 2, 2, 4}, {0, 0, 2, 2}, 10, kNo},
        {"inverted destination", {0, 0, 2, 2}, {4, 0, 2, 2}, 10, kNo},
        {"destination beyond a small port", {0, 0, 8, 6}, {0, 0, 8, 6}, 7, kNo},
    };
    for (const Case& c : cases) {
        PortPtr port = NewPort(c.portWidth, 8);
        EXPECT_EQ(Draw(port.get(), c.source, c.destination), c.expected) << c.what;
        if (c.expected != 1) {
            EXPECT_TRUE(IsUntouched(port.get())) << c.what;
        }
    }
}

TEST_F(MacroPortTest, ContainersAreDrawnAtTheSameSizeAndScaled) {
    struct Case {
        const char* what;
        Rect4 source, destination;
        std::vector<int32_t> cols, rows;  // the source pixels each port pixel takes
    };
    const Case cases[] = {
        {"same size, moved", {1, 1, 4, 3}, {3, 2, 6, 4}, {1, 2, 3}, {1, 2}},
        {"whole image", {0, 0, 8, 6}, {0, 0, 8, 6}, Span(0, 8), Span(0, 6)},
        {"stretched 4 x 3 -> 6 x 2", {2, 1, 6, 4}, {1, 1, 7, 3}, {2, 2, 3, 4, 4, 5}, {1, 2}},
        {"shrunk 8 x 6 -> 3 x 2", {0, 0, 8, 6}, {4, 4, 7, 6}, {0, 2, 5}, {0, 3}},
        {"doubled 2 x 2 -> 4 x 4", {6, 4, 8, 6}, {0, 0, 4, 4}, {6, 6, 7, 7}, {4, 4, 5, 5}},
    };
    for (const bool withAlpha : {false, true}) {
        for (const Case& c : cases) {
            PortPtr port = NewPort(9, 8);
            ASSERT_EQ(Draw(port.get(), c.source, c.destination, withAlpha ? alpha.get() : nullptr),
                      1)
                << c.what;
            ExpectDrawn(port.get(), c.destination.l, c.destination.t, c.cols, c.rows,
                        Pattern(withAlpha), c.what);
        }
    }
}

TEST_F(MacroPortTest, AlphaPlanesMustBeEightBitsAndTheImagesSize) {
    PortPtr port = NewPort(8, 6);
    const Rect4 all{0, 0, 8, 6};

    ContainerPtr deep = ContainerOf(MemImage::Make(8, 6, 16));
    EXPECT_EQ(Draw(port.get(), all, all, deep.get()), int32_t(0xE47F0008));
    EXPECT_EQ(Draw(port.get(), {0, 0, 4, 4}, {0, 0, 2, 2}, deep.get()), int32_t(0xE47F0008));
    for (const ContainerPtr& wrongSize :
         {ContainerOf(MemImage::Make(4, 6, 8)), ContainerOf(MemImage::Make(8, 4, 8))})
        EXPECT_EQ(Draw(port.get(), all, all, wrongSize.get()), kVxErrMacroUnsupported);
    EXPECT_TRUE(IsUntouched(port.get()));

    // A plane that holds no image is no plane: the pixels keep the image's first byte.
    ContainerPtr empty = NewContainer();
    ASSERT_EQ(Draw(port.get(), all, all, empty.get()), 1);
    ExpectDrawn(port.get(), 0, 0, Span(0, 8), Span(0, 6), Pattern(false), "empty alpha");
}

TEST_F(MacroPortTest, OnlyThirtyTwoBitImagesAndPortsAreDrawn) {
    MemImage rgb = MemImage::Make(8, 6, 24);
    ContainerPtr rgbImage = ContainerOf(rgb);
    PortPtr port = NewPort(8, 6);
    EXPECT_EQ(macro->GetImage(rgbImage.get(), nullptr, port.get(), 0, 0, 8, 6, 0, 0, 8, 6),
              kVxErrMacroUnsupported);

    SixteenBitPort sixteen;
    EXPECT_EQ(Draw(&sixteen.port, {0, 0, 8, 6}, {0, 0, 8, 6}), kVxErrMacroUnsupported);
    EXPECT_EQ(Draw(nullptr, {0, 0, 8, 6}, {0, 0, 8, 6}), kVxErrMacroUnsupported);
    EXPECT_EQ(macro->GetImage(static_cast<IUtilContainerIF*>(nullptr), nullptr, port.get(), 0, 0, 8,
                              6, 0, 0, 8, 6),
              kVxErrMacroUnsupported);
    EXPECT_EQ(sixteen.pixels, std::vector<unsigned char>(sixteen.pixels.size(), kUntouched));
    EXPECT_TRUE(IsUntouched(port.get()));
}

TEST_F(MacroPortTest, FilesAreRefusedBeforeAnythingIsRead) {
    SixteenBitPort sixteen;
    PortPtr port = NewPort(8, 6);
    PortPtr small = NewPort(3, 3);

    struct Case {
        const char* what;
        OpaqueGrafPtr* port;
        Rect4 first, second;
        int32_t reads;  // BeginReadLine calls that happen before the refusal
    };
    const Case cases[] = {
        {"16-bit port", &sixteen.port, {0, 0, 7, 5}, {0, 0, 7, 5}, 0},
        {"no port", nullptr, {0, 0, 7, 5}, {0, 0, 7, 5}, 0},
        // A 4 x 3 picture does not reach the port rectangle's right edge at 5.
        {"first rectangle away from the origin", port.get(), {2, 0, 5, 2}, {0, 0, 7, 5}, 0},
        {"first rectangle outside the port", small.get(), {0, 0, 4, 4}, {0, 0, 4, 4}, 0},
        {"empty selection", port.get(), {0, 0, 7, 5}, {3, 0, 2, 5}, 0},
        // Only the decoder knows the image's size: it is opened, but no line is read.
        {"selection beyond the image", port.get(), {0, 0, 7, 5}, {0, 0, 8, 5}, 1},
    };
    for (const Case& c : cases) {
        service.log = ServiceLog();
        EXPECT_EQ(macro->GetImage("pattern.img", c.port, c.first.l, c.first.t, c.first.r, c.first.b,
                                  c.second.l, c.second.t, c.second.r, c.second.b),
                  kVxErrMacroUnsupported)
            << c.what;
        EXPECT_EQ(service.log.beginReads, c.reads) << c.what;
        EXPECT_TRUE(service.log.linesRead.empty()) << c.what;
        EXPECT_EQ(service.OpenHandles(), 0) << c.what;
    }
    EXPECT_TRUE(IsUntouched(port.get()));
    EXPECT_EQ(macro->GetImage("missing.img", port.get(), 0, 0, 3, 3, 0, 0, 3, 3), kVxErrBadHandle);
}

// The decode-first entries: the first rectangle (inclusive) sizes the decoded picture, the
// second (inclusive) selects, and the picture is drawn with the first rectangle, read as a
// port rectangle, as both source and destination.
TEST_F(MacroPortTest, DecodedPicturesAreScaledIntoTheFirstRectangle) {
    struct Case {
        const char* what;
        Rect4 first, second;
        bool alphaWanted;
        std::vector<int32_t> cols, rows;
    };
    const Case cases[] = {
        // Equal rectangles: the last column and line of the selection stay undrawn.
        {"same size", {0, 0, 7, 5}, {0, 0, 7, 5}, true, Span(0, 7), Span(0, 5)},
        {"same size without alpha", {0, 0, 7, 5}, {0, 0, 7, 5}, false, Span(0, 7), Span(0, 5)},
        // The whole 8 x 6 image halved into a 4 x 3 picture, of which (0, 0, 3, 2) is drawn.
        {"halved", {0, 0, 3, 2}, {0, 0, 7, 5}, true, {0, 2, 4}, {0, 2}},
        // The 4 x 3 selection at (2, 1) doubled into an 8 x 6 picture, of which (0, 0, 7, 5)
        // is drawn.
        {"doubled", {0, 0, 7, 5}, {2, 1, 5, 3}, true, {2, 2, 3, 3, 4, 4, 5}, {1, 1, 2, 2, 3}},
    };
    for (const Case& c : cases) {
        PortPtr port = NewPort(8, 6);
        const int32_t handle = service.GetImageHandle("pattern.img");
        CURequest request;
        request.lOption1 = c.alphaWanted ? 0 : 1;
        ASSERT_EQ(macro->GetImage(handle, request, port.get(), c.first.l, c.first.t, c.first.r,
                                  c.first.b, c.second.l, c.second.t, c.second.r, c.second.b),
                  1)
            << c.what;
        service.DeleteImageHandle(handle);
        ExpectDrawn(port.get(), 0, 0, c.cols, c.rows, Pattern(c.alphaWanted), c.what);
    }
}

TEST_F(MacroPortTest, NothingIsEverWrittenFromAPort) {
    PortPtr port = NewPort(8, 6);
    CURequest request;
    request.strFormatName = "PPM";
    EXPECT_EQ(macro->SetImage("out.img", "PPM", port.get(), 0, 0, 8, 6), kVxErrMacroUnsupported);
    EXPECT_EQ(macro->SetImage("out.img", request, port.get(), 0, 0, 8, 6), kVxErrMacroUnsupported);
    EXPECT_EQ(service.files.count("out.img"), 0u);
    EXPECT_TRUE(IsUntouched(port.get()));
}

// --- Over the real service and codec plug-ins. ---

class MacroPortFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = MakeService(VANDREL_PLUGIN_DIR);
        ppm = dir.file("in.ppm");
        WriteFile(ppm, PpmOf(MemImage::Make(20, 15)));
        macro = NewMacro(service.get());
    }
    // The port pixel of a 24-bit pattern pixel: no alpha, then R, G, B.
    Pixel Native(int32_t x, int32_t y, unsigned char first = 0) const {
        return {first, MemImage::Sample(x, y, 0), MemImage::Sample(x, y, 1),
                MemImage::Sample(x, y, 2)};
    }

    ScratchDir dir;
    ServicePtr service;
    MacroPtr macro;
    std::string ppm;
};

TEST_F(MacroPortFileTest, APpmIsDrawnInThePortsLayoutAndShrunk) {
    PortPtr port = NewPort(21, 16);
    ASSERT_EQ(macro->GetImage(ppm.c_str(), port.get(), 0, 0, 19, 14, 0, 0, 19, 14), 1);
    ExpectDrawn(
        port.get(), 0, 0, Span(0, 19), Span(0, 14),
        [this](int32_t x, int32_t y) { return Native(x, y); }, "same size");

    // The whole 20 x 15 file shrunk to 5 x 3: every fourth column, every fifth line.
    PortPtr shrunk = NewPort(5, 3);
    ASSERT_EQ(macro->GetImage(ppm.c_str(), shrunk.get(), 0, 0, 4, 2, 0, 0, 19, 14), 1);
    ExpectDrawn(
        shrunk.get(), 0, 0, {0, 4, 8, 12}, {0, 5},
        [this](int32_t x, int32_t y) { return Native(x, y); }, "shrunk");
}

TEST_F(MacroPortFileTest, APngAlphaPlaneLandsInTheFirstByteOfEveryPixel) {
    if (std::string(service->GetSupportedWritingType()).find("PNG") == std::string::npos)
        GTEST_SKIP() << "no PNG plug-in; the stand-in service covers alpha";
    MemImage rgba = MemImage::Make(6, 4, 24, 8);
    ContainerPtr src = ContainerOf(rgba);
    ContainerPtr srcAlpha = AlphaContainerOf(rgba);
    const std::string png = dir.file("alpha.png");
    ASSERT_EQ(macro->SetImage(png.c_str(), "PNG", src.get(), srcAlpha.get()), 1);

    // Same size, straight from the file.
    PortPtr port = NewPort(6, 4);
    ASSERT_EQ(macro->GetImage(png.c_str(), port.get(), 0, 0, 5, 3, 0, 0, 5, 3), 1);
    const auto withAlpha = [this](int32_t x, int32_t y) {
        return Native(x, y, (unsigned char)(x + 100 * y));
    };
    ExpectDrawn(port.get(), 0, 0, Span(0, 5), Span(0, 3), withAlpha, "same size");

    // Scaled, from the decoded containers: 6 x 4 -> 3 x 2 picks columns 0, 2, 4, lines 0, 2.
    ContainerPtr image = NewContainer();
    ContainerPtr alpha = NewContainer();
    CURequest native;
    native.info.bNative = 1;
    native.info.lColorDepth = 32;
    ASSERT_EQ(macro->GetImage(png.c_str(), native, image.get(), alpha.get()), 1);
    PortPtr scaled = NewPort(3, 2);
    ASSERT_EQ(macro->GetImage(image.get(), alpha.get(), scaled.get(), 0, 0, 6, 4, 0, 0, 3, 2), 1);
    ExpectDrawn(scaled.get(), 0, 0, {0, 2, 4}, {0, 2}, withAlpha, "scaled");
}

}  // namespace
