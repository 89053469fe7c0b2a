#include <gtest/gtest.h>

#include <string>

#include "vandrel/MessageProc.h"
#include "vandrel/Records.h"

namespace {

TEST(ImageInfo, RowBytesArePaddedToWholeWordsWhenNotGiven) {
    struct Case {
        int32_t width, depth, given, expected;
    } cases[] = {
        {10, 24, 0, 32},   // 240 bits -> 8 words
        {10, 24, -5, 32},  // below 1 means "not given"
        {10, 24, 40, 40},  // a given size is kept
        {1, 8, 0, 4},     {3, 48, 0, 20}, {7, 32, 0, 28},
        {0, 24, 0, 0},    {5, 16, 0, 12},  // 80 bits -> 3 words
    };
    for (const Case& c : cases) {
        CUImageInfo info;
        info.lWidth = c.width;
        info.lColorDepth = c.depth;
        info.lRowBytes = c.given;
        EXPECT_EQ(info.RowBytes(), c.expected) << c.width << "x" << c.depth << " given " << c.given;
    }
}

TEST(ImageInfo, ColourSpacesCompareCaseBlindAsWholeWords) {
    struct Case {
        const char* a;
        const char* b;
        bool same;
    } cases[] = {
        {"ycc", "YCC", true}, {"Rgb", "RGB", true},  {"YCCK", "YCC", false},  {"YC", "YCC", false},
        {"", "RGB", false},   {"RGB", "YCC", false}, {nullptr, "RGB", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(VxSameColorSpace(c.a, c.b), c.same) << (c.a ? c.a : "null") << " vs " << c.b;
    }
    CUImageInfo info;
    info.strColorSpace = "ycc";
    EXPECT_TRUE(info.IsColorSpace("YCC"));
}

TEST(MiniString, KeepsAtMost1023CharactersAndStaysTerminated) {
    const std::string longText(5000, 'x');
    ministring s(longText.c_str());
    EXPECT_EQ(s.size(), 1023u);
    s = "abc";
    s.append(longText.c_str());
    EXPECT_EQ(s.size(), 1023u);
    EXPECT_EQ(std::string(s).substr(0, 4), "abcx");
    s = nullptr;
    EXPECT_TRUE(s.empty());
}

TEST(Request, CopyTakesTheMessageProcButAssignmentIntoAParamKeepsItsOwn) {
    IMessageProc mine, theirs;
    struct Case {
        IMessageProc* held;
        IMessageProc* offered;
    } cases[] = {{nullptr, &theirs}, {&mine, &theirs}, {&mine, nullptr}};
    for (const Case& c : cases) {
        CURequest offered;
        offered.pMessageProc = c.offered;
        offered.lQuality = 12;
        offered.strFormatName = "PNM";
        CURequest copy(offered);
        EXPECT_EQ(copy.pMessageProc, c.offered);

        CParam param;
        param.request.pMessageProc = c.held;
        param = offered;
        EXPECT_EQ(param.request.pMessageProc, c.held);
        EXPECT_EQ(param.request.lQuality, 12);
        EXPECT_STREQ(param.request.strFormatName, "PNM");

        // Between parameters the same holds, and the plug-in and status come along.
        CParam source;
        source.request = offered;
        source.pPlugIn = reinterpret_cast<IPlugIn*>(&theirs);
        source.status.info.lWidth = 640;
        param = source;
        EXPECT_EQ(param.request.pMessageProc, c.held);
        EXPECT_EQ(param.pPlugIn, source.pPlugIn);
        EXPECT_EQ(param.status.info.lWidth, 640);
    }
}

TEST(LineBuffer, CreateRefusesASecondBufferAndBadSizes) {
    CImageLineBuf buf;
    EXPECT_EQ(buf.Create(0), 0);
    EXPECT_EQ(buf.Create(-3), 0);
    EXPECT_EQ(buf.bAlloc, 0);
    ASSERT_EQ(buf.Create(16), 1);
    unsigned char* first = buf.pBuffer;
    EXPECT_EQ(buf.Create(32), 0);
    EXPECT_EQ(buf.pBuffer, first);
    EXPECT_EQ(buf.bAlloc, 1);
    buf.Release();
    EXPECT_EQ(buf.pBuffer, nullptr);
    EXPECT_EQ(buf.bAlloc, 0);
}

TEST(LineBufferDeathTest, DyingWhileOwningStorageIsFatal) {
    EXPECT_DEATH(
        {
            CImageLineBuf buf;
            buf.Create(8);
        },
        "Sources/Source/UtilInternalCommon:145: failed assertion `bAlloc == false'");
}

TEST(Param, CopyConstructionSharesOwnershipButAssignmentOnlyRefers) {
    CParam a;
    ASSERT_EQ(a.bufRead.Create(8), 1);
    ASSERT_EQ(a.bufConv2.Create(8), 1);
    a.bufRead.info.lWidth = 3;

    CParam copied(a);
    EXPECT_EQ(copied.bufRead.pBuffer, a.bufRead.pBuffer);
    EXPECT_EQ(copied.bufRead.bAlloc, 1);
    EXPECT_EQ(copied.bufConv2.bAlloc, 1);
    // Only one of the two may free; the copy gives its claim up by hand.
    copied.bufRead.bAlloc = copied.bufConv2.bAlloc = 0;

    CParam assigned;
    assigned = a;
    EXPECT_EQ(assigned.bufRead.pBuffer, a.bufRead.pBuffer);
    EXPECT_EQ(assigned.bufRead.info.lWidth, 3);
    EXPECT_EQ(assigned.bufRead.bAlloc, 0);
    EXPECT_EQ(assigned.bufConv2.bAlloc, 0);
    EXPECT_EQ(assigned.DeleteBuffer(), 1);  // frees nothing it does not own
    EXPECT_EQ(assigned.bufRead.pBuffer, a.bufRead.pBuffer);
    EXPECT_EQ(a.DeleteBuffer(), 1);
    EXPECT_EQ(a.bufRead.pBuffer, nullptr);
    EXPECT_EQ(a.bufConv2.pBuffer, nullptr);
}

TEST(FileInfo, SameVersionIgnoresAccessTimeAndTheLastTwoFields) {
    struct Case {
        const char* field;
        void (*change)(CUFileInfo&);
        bool same;
    } cases[] = {
        {"access", [](CUFileInfo& f) { f.lAccessTime += 5; }, true},
        {"reserved1", [](CUFileInfo& f) { f.lReserved1 = 9; }, true},
        {"reserved2", [](CUFileInfo& f) { f.lReserved2 = 9; }, true},
        {"create", [](CUFileInfo& f) { f.lCreateTime += 1; }, false},
        {"modify", [](CUFileInfo& f) { f.lModifyTime += 1; }, false},
        {"size", [](CUFileInfo& f) { f.lSize += 1; }, false},
        {"permissions", [](CUFileInfo& f) { f.wPermissions ^= 0200; }, false},
        {"shooting", [](CUFileInfo& f) { f.lShootingTime += 1; }, false},
        {"orientation", [](CUFileInfo& f) { f.wOrientation = 6; }, false},
    };
    CUFileInfo base;
    base.lCreateTime = 100;
    base.lModifyTime = 200;
    base.lSize = 300;
    for (const Case& c : cases) {
        CUFileInfo changed = base;
        c.change(changed);
        EXPECT_EQ(base.SameVersionAs(changed), c.same) << c.field;
    }
}

}  // namespace
