// Pipelines through the resizer: decode-and-resize with every method, container resizing,
// resizing while encoding, and the file-to-file choice between enlarging while encoding and
// shrinking while decoding. The resize object's one-call whole-image resize is the oracle.
#include <gtest/gtest.h>

#include "macro/MacroTestSupport.h"
#include "vandrel/UtilResizeIF.h"

using namespace vxtest;

namespace {

// The image resized in one call by a resize object of its own.
MemImage Oracle(const MemImage& source, const CURequest& request) {
    std::vector<unsigned char> pixels;
    for (const auto& row : source.rows)
        pixels.insert(pixels.end(), row.begin(), row.end());
    MemImage out;
    out.info = source.info;
    out.info.lWidth = request.info.lWidth;
    out.info.lHeight = request.info.lHeight;
    out.info.lRowBytes = VxPaddedRowBytes(out.info.lWidth, out.info.lColorDepth);
    std::vector<unsigned char> all(size_t(out.info.lRowBytes) * size_t(out.info.lHeight));
    IUtilResizeIF* resizer = CreateUtilResize();
    // Its code is not checked: when shrinking, the engine refuses the source lines pushed after
    // the last output line, which the one-call resize reports although every line was made.
    resizer->GetImage(source.info, pixels.data(), request, all.data());
    resizer->Delete();
    for (int32_t y = 0; y < out.info.lHeight; ++y) {
        auto begin = all.begin() + ptrdiff_t(y) * out.info.lRowBytes;
        out.rows.emplace_back(begin, begin + out.info.lRowBytes);
    }
    return out;
}

void ExpectSameImage(const IUtilContainerIF* c, const MemImage& expected, const char* what) {
    CUImageInfo info;
    c->GetImageInfo(info);
    ASSERT_EQ(info.lWidth, expected.info.lWidth) << what;
    ASSERT_EQ(info.lHeight, expected.info.lHeight) << what;
    for (int32_t y = 0; y < info.lHeight; ++y)
        ASSERT_EQ(LineOf(c, y), Unpadded(expected.rows[size_t(y)], expected.info))
            << what << " line " << y;
}

CURequest SizeRequest(int32_t w, int32_t h, const char* method) {
    CURequest r;
    r.info.lWidth = w;
    r.info.lHeight = h;
    r.strResizeMethod = method;
    return r;
}

class MacroResizeTest : public ::testing::Test {
protected:
    void SetUp() override {
        service.files["src.img"] = MemImage::Make(9, 7, 24, 8);
        macro = NewMacro(&service, &callback);
    }
    ScriptedService service;
    RecordingCallback callback;
    MacroPtr macro;
};

TEST_F(MacroResizeTest, DecodeResizeMatchesAWholeImageResizeForEveryMethod) {
    for (const char* method : {"Nearest", "Bilinear", "bicubic", "Quorix"}) {
        for (auto size : {std::make_pair(4, 3), std::make_pair(20, 15)}) {
            callback.calls.clear();
            const CURequest request = SizeRequest(size.first, size.second, method);
            ContainerPtr dst = NewContainer();
            ContainerPtr dstAlpha = NewContainer();
            ASSERT_EQ(macro->GetImage("src.img", request, dst.get(), dstAlpha.get()), 1) << method;
            ExpectSameImage(dst.get(), Oracle(service.files["src.img"], request), method);
            ExpectSameImage(dstAlpha.get(), Oracle(service.files["src.img"].Alpha(), request),
                            method);
            EXPECT_EQ(callback.TotalSteps(), 256u) << method;
            EXPECT_EQ(callback.Stages(),
                      (std::vector<std::string>{"Start 256", "Begin 0", "End", "Finish"}));
        }
    }
}

TEST_F(MacroResizeTest, AnUnknownMethodFailsAndLeavesNothing) {
    ContainerPtr dst = NewContainer();
    EXPECT_EQ(macro->GetImage("src.img", SizeRequest(4, 3, "Lanczos"), dst.get(), nullptr),
              kVxErrResizeSize);
    EXPECT_EQ(dst->hasImage(), 0);
    EXPECT_EQ(service.log.beginReads, service.log.endReads);
}

TEST_F(MacroResizeTest, ContainersResizeWithTheirAlphaPlane) {
    const MemImage& image = service.files["src.img"];
    ContainerPtr src = ContainerOf(image);
    ContainerPtr srcAlpha = AlphaContainerOf(image);
    ContainerPtr dst = NewContainer();
    ContainerPtr dstAlpha = NewContainer();
    const CURequest request = SizeRequest(5, 12, "Bilinear");
    ASSERT_EQ(macro->GetImage(request, src.get(), srcAlpha.get(), dst.get(), dstAlpha.get()), 1);
    ExpectSameImage(dst.get(), Oracle(image, request), "image");
    ExpectSameImage(dstAlpha.get(), Oracle(image.Alpha(), request), "alpha");
    EXPECT_EQ(callback.Stages(),
              (std::vector<std::string>{"Start 128", "Begin 2", "End", "Finish"}));
    EXPECT_EQ(callback.TotalSteps(), 128u);
}

TEST_F(MacroResizeTest, ResizingWhileEncodingCountsEachLineTwice) {
    const MemImage& image = service.files["src.img"];
    ContainerPtr src = ContainerOf(image);
    for (auto size : {std::make_pair(13, 5), std::make_pair(4, 3)}) {
        callback.calls.clear();
        CURequest request = SizeRequest(size.first, size.second, "Bicubic");
        request.strFormatName = "FAKE";
        ASSERT_EQ(macro->SetImage("out.img", request, src.get(), nullptr), 1) << size.first;
        const MemImage expected = Oracle(image, request);
        ASSERT_EQ(service.files["out.img"].rows, expected.rows) << size.first;
        // 7 lines of 2 * (0x20000 / 7) units: 255 whole steps, and the closing top-up is that
        // of a single stage, so it adds nothing.
        EXPECT_EQ(callback.TotalSteps(), 255u);
        EXPECT_EQ(callback.calls.front(), "Start 256");
    }
}

TEST_F(MacroResizeTest, FileToFileEnlargesWhileEncodingAndShrinksWhileDecoding) {
    service.files["ten.img"] = MemImage::Make(10, 10);
    struct Case {
        const char* what;
        int32_t width, height;  // of the output; the source is 10 x 10
        uint32_t decodeSteps;   // steps reported between the decode stage's begin and end
    };
    const Case cases[] = {
        {"enlarge", 20, 20, 128}, {"shrink", 5, 5, 256}, {"equal area shrinks", 5, 20, 256}};
    for (const Case& c : cases) {
        callback.calls.clear();
        CURequest request = SizeRequest(c.width, c.height, "Bilinear");
        request.strFormatName = "FAKE";
        ASSERT_EQ(macro->SetImage("ten.img", "out.img", request), 1) << c.what;
        EXPECT_EQ(callback.Stages(), (std::vector<std::string>{"Start 384", "Begin 0", "End",
                                                               "Begin 1", "End", "Finish"}));
        uint32_t decodeSteps = 0;
        for (const std::string& call : callback.calls) {
            if (call == "End") break;
            if (call.rfind("Progress ", 0) == 0)
                decodeSteps += uint32_t(std::stoul(call.substr(9)));
        }
        EXPECT_EQ(decodeSteps, c.decodeSteps) << c.what;
        const MemImage& out = service.files["out.img"];
        EXPECT_EQ(out.info.lWidth, c.width);
        EXPECT_EQ(int32_t(out.rows.size()), c.height);
        EXPECT_EQ(service.OpenHandles(), 0);
    }
}

TEST_F(MacroResizeTest, ACancelledResizeLeavesTheDestinationEmpty) {
    RecordingCallback cancelling;
    cancelling.cancelAt = "Progress";
    cancelling.cancelAfter = 3;
    macro->SetCallbackObj(&cancelling);
    ContainerPtr dst = NewContainer();
    ContainerPtr dstAlpha = NewContainer();
    EXPECT_EQ(macro->GetImage("src.img", SizeRequest(4, 4, "Nearest"), dst.get(), dstAlpha.get()),
              kVxErrCancelled);
    EXPECT_EQ(dst->hasImage(), 0);
    EXPECT_EQ(dstAlpha->hasImage(), 0);
    // The resizers were ended: the next request can begin them again.
    macro->SetCallbackObj(nullptr);
    EXPECT_EQ(macro->GetImage("src.img", SizeRequest(4, 4, "Nearest"), dst.get(), dstAlpha.get()),
              1);
}

}  // namespace
