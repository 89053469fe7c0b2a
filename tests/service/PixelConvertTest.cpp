#include "service/PixelConvert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "vandrel/Status.h"

namespace {

// A plain model of the arithmetic, written from the formulas with 64-bit sums, floor division
// and explicit clamps; the production kernels must agree with it byte for byte.
namespace model {

constexpr int kDither[3][4] = {{0, 128, 32, 160}, {192, 64, 224, 96}, {48, 176, 16, 144}};

int FloorDiv1024(int64_t v) {
    int64_t q = v / 1024;
    return int(v % 1024 != 0 && v < 0 ? q - 1 : q);
}

std::array<int, 3> Forward(int r, int g, int b, int half) {
    return {FloorDiv1024(306LL * r + 601LL * g + 117LL * b),
            FloorDiv1024(-173LL * r - 339LL * g + 512LL * b) + half,
            FloorDiv1024(512LL * r - 429LL * g - 83LL * b) + half};
}

std::array<int, 3> Inverse(int y, int cb, int cr, int half, int maxValue) {
    cb -= half;
    cr -= half;
    auto clamp = [maxValue](int v) { return std::min(std::max(v, 0), maxValue); };
    return {clamp(FloorDiv1024(1024LL * y + 1436LL * cr + 512)),
            clamp(FloorDiv1024(1024LL * y - 352LL * cb - 731LL * cr + 512)),
            clamp(FloorDiv1024(1024LL * y + 1815LL * cb + 512))};
}

int Reduce(int v, int line, int pixel) {
    return std::min((v + kDither[line % 3][pixel % 4]) / 256, 255);
}

// Line converters built from the pixel formulas. `bits` is the input sample size, `outBits`
// the output's; native output writes 0, R, G, B.
enum class Out { k8, k16, kNative };

template <typename In>
void ColourLine(const In* src, void* dst, int n, int line, bool forward, Out out) {
    const int inHalf = sizeof(In) == 1 ? 128 : 32768;
    const int inMax = sizeof(In) == 1 ? 255 : 65535;
    for (int i = 0; i < n; ++i) {
        const In* s = src + 3 * i;
        std::array<int, 3> v =
            forward ? Forward(s[0], s[1], s[2], inHalf) : Inverse(s[0], s[1], s[2], inHalf, inMax);
        for (int c = 0; c < 3; ++c) {
            int x = v[c];
            if (sizeof(In) == 2 && out != Out::k16) x = Reduce(x, line, i);
            if (sizeof(In) == 1 && out == Out::k16) x *= 256;
            if (out == Out::k8) static_cast<uint8_t*>(dst)[3 * i + c] = uint8_t(x);
            if (out == Out::k16) static_cast<uint16_t*>(dst)[3 * i + c] = uint16_t(x);
            if (out == Out::kNative) {
                static_cast<uint8_t*>(dst)[4 * i] = 0;
                static_cast<uint8_t*>(dst)[4 * i + 1 + c] = uint8_t(x);
            }
        }
    }
}

template <typename In>
void NativeLine(const In* src, uint8_t* dst, int n, int line) {
    for (int i = 0; i < n; ++i) {
        dst[4 * i] = 0;
        for (int c = 0; c < 3; ++c)
            dst[4 * i + 1 + c] =
                uint8_t(sizeof(In) == 1 ? src[3 * i + c] : Reduce(src[3 * i + c], line, i));
    }
}

void Reduce16(const uint16_t* src, uint8_t* dst, int n, int channels, int line) {
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < channels; ++c)
            dst[i * channels + c] = uint8_t(Reduce(src[i * channels + c], line, i));
}

}  // namespace model

using Pc = CPixelConvert;

CUImageInfo Info(int32_t width, int32_t depth, const char* space = "RGB", int32_t native = 0) {
    CUImageInfo info;
    info.lWidth = width;
    info.lColorDepth = depth;
    info.bNative = native;
    info.strColorSpace = space;
    return info;
}

// Random samples with the extremes over-represented, where clamping and dither overflow live.
std::vector<uint8_t> RandomBytes(size_t n, std::mt19937& rng) {
    static const uint16_t kEdges8[] = {0, 1, 127, 128, 254, 255};
    static const uint16_t kEdges16[] = {0, 1, 255, 256, 32767, 32768, 65279, 65280, 65535};
    std::vector<uint8_t> bytes(n);
    for (size_t i = 0; i + 1 < n; i += 2) {
        uint16_t v = uint16_t(rng());
        if (rng() % 4 == 0) v = kEdges16[rng() % 9];
        if (rng() % 8 == 0) v = uint16_t(kEdges8[rng() % 6] | kEdges8[rng() % 6] << 8);
        std::memcpy(&bytes[i], &v, 2);
    }
    return bytes;
}

// Every test runs once with the vectorised kernels and once with the portable ones.
class PixelConvertTest : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (GetParam() && !Pc::VectorKernelsAvailable())
            GTEST_SKIP() << "no vector kernels on this processor";
        m_previous = Pc::EnableVectorKernels(GetParam());
    }
    void TearDown() override { Pc::EnableVectorKernels(m_previous); }

private:
    bool m_previous = false;
};

INSTANTIATE_TEST_SUITE_P(Kernels, PixelConvertTest, ::testing::Bool(),
                         [](const auto& p) { return p.param ? "Vector" : "Portable"; });

TEST_P(PixelConvertTest, KnownColoursConvertAsExpected) {
    struct Sample {
        std::array<uint8_t, 3> in, out;
        bool toYcc;
    };
    const Sample kSamples[] = {
        {{255, 255, 255}, {255, 128, 128}, true},
        {{0, 0, 0}, {0, 128, 128}, true},
        {{255, 0, 0}, {76, 84, 255}, true},
        {{76, 84, 255}, {254, 0, 0}, false},  // red does not come back exactly
        {{128, 128, 128}, {128, 128, 128}, false},
        {{255, 128, 255}, {255, 164, 255}, false},  // R (433) clamps at the top
        {{0, 0, 0}, {0, 135, 0}, false},            // R and B clamp at zero
    };
    for (const Sample& s : kSamples) {
        // Repeat the pixel over more than one vector block and a tail.
        std::vector<uint8_t> line;
        for (int i = 0; i < 37; ++i)
            line.insert(line.end(), s.in.begin(), s.in.end());
        CUImageInfo info = Info(37, 24, s.toYcc ? "RGB" : "YCC");
        int32_t r = s.toYcc ? Pc::ConvertRgbToYcc(line.data(), line.data(), info)
                            : Pc::ConvertYccToRgb(line.data(), line.data(), info);
        ASSERT_EQ(r, kVxOk);
        for (int i = 0; i < 37; ++i)
            ASSERT_EQ(std::vector<uint8_t>(line.begin() + 3 * i, line.begin() + 3 * i + 3),
                      std::vector<uint8_t>(s.out.begin(), s.out.end()))
                << "pixel " << i << " of " << int(s.in[0]) << "," << int(s.in[1]) << ","
                << int(s.in[2]);
    }
}

// The entry is recovered from behaviour: the smallest v in 0..255 that reduces to 1 is 256 - d.
TEST_P(PixelConvertTest, DitherEntryFollowsPixelAndLine) {
    for (int channels : {1, 3}) {
        // Negative lines continue the pattern upwards: line -1 takes row 2.
        for (int line : {0, 1, 2, 3, 4, 5, 301, -1, -2, -3, -301}) {
            const int row = ((line % 3) + 3) % 3;
            const int width = 40;
            std::array<int, width> found{};
            for (int v = 255; v >= 1; --v) {
                std::vector<uint16_t> src(size_t(width) * channels, uint16_t(v));
                std::vector<uint8_t> dst(src.size());
                Pc::Convert16To8(src.data(), dst.data(), width, channels, line);
                for (int i = 0; i < width; ++i) {
                    for (int c = 0; c < channels; ++c) {
                        if (dst[size_t(i) * channels + c] == 1) found[i] = 256 - v;
                        ASSERT_EQ(dst[size_t(i) * channels + c], dst[size_t(i) * channels])
                            << "one entry serves every sample of a pixel";
                    }
                }
            }
            for (int i = 0; i < width; ++i) {
                EXPECT_EQ(found[i], model::kDither[row][i & 3])
                    << "line " << line << " pixel " << i << " channels " << channels;
                EXPECT_EQ(Pc::DitherFor(line, i), model::kDither[row][i & 3]);
            }
        }
    }
}

// One converter run against its model on a line of n pixels; in and out have slack after the
// line, and bytes there must stay as they were.
struct Converter {
    const char* name;
    int inBytes;   // per pixel
    int outBytes;  // per pixel
    std::function<void(const uint8_t*, uint8_t*, int n, int line)> run, model;
};

template <typename T>
const T* As(const uint8_t* p) {
    return reinterpret_cast<const T*>(p);
}
template <typename T>
T* As(uint8_t* p) {
    return reinterpret_cast<T*>(p);
}

std::vector<Converter> AllConverters() {
    using u8 = uint8_t;
    using u16 = uint16_t;
    using model::Out;
    auto lineTo = [](int depth, const char* space) {
        return [depth, space](const u8* s, u8* d, int n, int line) {
            Pc::ConvertLogicalToNative(d, s, Info(n, depth, space), line);
        };
    };
    std::vector<Converter> all = {
        {"RgbToYcc<8>", 3, 3,
         [](const u8* s, u8* d, int n, int) { Pc::ConvertRgbToYcc(const_cast<u8*>(s), d, n); },
         [](const u8* s, u8* d, int n, int l) { model::ColourLine(s, d, n, l, true, Out::k8); }},
        {"RgbToYcc<16>", 6, 6,
         [](const u8* s, u8* d, int n, int) {
             Pc::ConvertRgbToYcc(const_cast<u16*>(As<u16>(s)), As<u16>(d), n);
         },
         [](const u8* s, u8* d, int n, int l) {
             model::ColourLine(As<u16>(s), d, n, l, true, Out::k16);
         }},
        {"YccToRgb<8>", 3, 3,
         [](const u8* s, u8* d, int n, int) { Pc::ConvertYccToRgb(const_cast<u8*>(s), d, n); },
         [](const u8* s, u8* d, int n, int l) { model::ColourLine(s, d, n, l, false, Out::k8); }},
        {"YccToRgb<16>", 6, 6,
         [](const u8* s, u8* d, int n, int) {
             Pc::ConvertYccToRgb(const_cast<u16*>(As<u16>(s)), As<u16>(d), n);
         },
         [](const u8* s, u8* d, int n, int l) {
             model::ColourLine(As<u16>(s), d, n, l, false, Out::k16);
         }},
        {"Convert8To16", 3, 6,
         [](const u8* s, u8* d, int n, int) { Pc::Convert8To16(s, As<u16>(d), 3 * n); },
         [](const u8* s, u8* d, int n, int) {
             for (int i = 0; i < 3 * n; ++i)
                 As<u16>(d)[i] = u16(s[i] * 256);
         }},
        {"Rgb8ToYcc16", 3, 6,
         [](const u8* s, u8* d, int n, int) { Pc::ConvertRgb8ToYcc16(s, As<u16>(d), n); },
         [](const u8* s, u8* d, int n, int l) { model::ColourLine(s, d, n, l, true, Out::k16); }},
        {"Rgb16ToYcc8", 6, 3,
         [](const u8* s, u8* d, int n, int l) { Pc::ConvertRgb16ToYcc8(As<u16>(s), d, n, l); },
         [](const u8* s, u8* d, int n, int l) {
             model::ColourLine(As<u16>(s), d, n, l, true, Out::k8);
         }},
        {"Ycc8ToRgb16", 3, 6,
         [](const u8* s, u8* d, int n, int) { Pc::ConvertYcc8ToRgb16(s, As<u16>(d), n); },
         [](const u8* s, u8* d, int n, int l) { model::ColourLine(s, d, n, l, false, Out::k16); }},
        {"Ycc16ToRgb8", 6, 3,
         [](const u8* s, u8* d, int n, int l) { Pc::ConvertYcc16ToRgb8(As<u16>(s), d, n, l); },
         [](const u8* s, u8* d, int n, int l) {
             model::ColourLine(As<u16>(s), d, n, l, false, Out::k8);
         }},
        {"LogicalToNative 24 RGB", 3, 4, lineTo(24, "RGB"),
         [](const u8* s, u8* d, int n, int l) { model::NativeLine(s, d, n, l); }},
        {"LogicalToNative 48 rgb", 6, 4, lineTo(48, "rgb"),
         [](const u8* s, u8* d, int n, int l) { model::NativeLine(As<u16>(s), d, n, l); }},
        {"LogicalToNative 24 YCC", 3, 4, lineTo(24, "YCC"),
         [](const u8* s, u8* d, int n, int l) {
             model::ColourLine(s, d, n, l, false, Out::kNative);
         }},
        {"LogicalToNative 48 YCC", 6, 4, lineTo(48, "YCC"),
         [](const u8* s, u8* d, int n, int l) {
             model::ColourLine(As<u16>(s), d, n, l, false, Out::kNative);
         }},
        // Grey stays one byte per pixel.
        {"LogicalToNative 8", 1, 1, lineTo(8, "RGB"),
         [](const u8* s, u8* d, int n, int) { std::copy(s, s + n, d); }},
        {"LogicalToNative 16", 2, 1, lineTo(16, "RGB"),
         [](const u8* s, u8* d, int n, int l) { model::Reduce16(As<u16>(s), d, n, 1, l); }},
        {"NativeToLogical", 4, 3,
         [](const u8* s, u8* d, int n, int) { Pc::ConvertNativeToLogical(d, s, Info(n, 32)); },
         [](const u8* s, u8* d, int n, int) {
             for (int i = 0; i < n; ++i)
                 std::copy(s + 4 * i + 1, s + 4 * i + 4, d + 3 * i);
         }},
    };
    for (int channels = 1; channels <= 5; ++channels) {
        static const char* kNames[] = {"16To8 x1", "16To8 x2", "16To8 x3", "16To8 x4", "16To8 x5"};
        all.push_back({kNames[channels - 1], 2 * channels, channels,
                       [channels](const u8* s, u8* d, int n, int l) {
                           Pc::Convert16To8(As<u16>(s), d, n, channels, l);
                       },
                       [channels](const u8* s, u8* d, int n, int l) {
                           model::Reduce16(As<u16>(s), d, n, channels, l);
                       }});
    }
    return all;
}

TEST_P(PixelConvertTest, EveryConverterMatchesTheModelOnRandomLines) {
    std::mt19937 rng(20261121);
    const int kLengths[] = {0, 1, 2, 15, 16, 17, 31, 32, 33, 63, 100, 1001, 4032};
    for (const Converter& c : AllConverters()) {
        for (int round = 0; round < 40; ++round) {
            for (int n : kLengths) {
                const int line = int(rng() % 1000);
                const size_t slack = 64;
                std::vector<uint8_t> in = RandomBytes(size_t(n) * c.inBytes + slack, rng);
                std::vector<uint8_t> got(size_t(n) * c.outBytes + slack, 0x5A);
                std::vector<uint8_t> want = got;
                c.run(in.data(), got.data(), n, line);
                c.model(in.data(), want.data(), n, line);
                ASSERT_EQ(got, want) << c.name << ", " << n << " pixels, line " << line;
            }
        }
    }
}

TEST_P(PixelConvertTest, ColourConvertersWorkInPlace) {
    std::mt19937 rng(7);
    for (int depth : {24, 48}) {
        for (bool toYcc : {true, false}) {
            const int n = 301;
            std::vector<uint8_t> line = RandomBytes(size_t(n) * depth / 8, rng);
            std::vector<uint8_t> apart(line.size());
            CUImageInfo info = Info(n, depth, toYcc ? "RGB" : "YCC");
            auto convert = [&](uint8_t* dst, uint8_t* src) {
                return toYcc ? Pc::ConvertRgbToYcc(dst, src, info)
                             : Pc::ConvertYccToRgb(dst, src, info);
            };
            ASSERT_EQ(convert(apart.data(), line.data()), kVxOk);
            ASSERT_EQ(convert(line.data(), line.data()), kVxOk);
            EXPECT_EQ(line, apart) << depth << (toYcc ? " to YCC" : " to RGB");
        }
    }
}

TEST_P(PixelConvertTest, PublicOperationsAnswerAsDocumented) {
    std::vector<uint8_t> src(256, 77), dst(256, 0);
    const std::vector<uint8_t> untouched = dst;
    using Call = std::function<int32_t()>;
    struct Case {
        const char* what;
        Call call;
        int32_t expected;
        bool writes;
    };
    auto space = [&](bool toYcc, CUImageInfo info) -> Call {
        return [&, toYcc, info] {
            return toYcc ? Pc::ConvertRgbToYcc(dst.data(), src.data(), info)
                         : Pc::ConvertYccToRgb(dst.data(), src.data(), info);
        };
    };
    auto toNative = [&](CUImageInfo info, bool nullSrc, bool nullDst) -> Call {
        return [&, info, nullSrc, nullDst] {
            return Pc::ConvertLogicalToNative(nullDst ? nullptr : dst.data(),
                                              nullSrc ? nullptr : src.data(), info, 0);
        };
    };
    auto fromNative = [&](CUImageInfo info, bool nullSrc, bool nullDst) -> Call {
        return [&, info, nullSrc, nullDst] {
            return Pc::ConvertNativeToLogical(nullDst ? nullptr : dst.data(),
                                              nullSrc ? nullptr : src.data(), info);
        };
    };
    const Case kCases[] = {
        {"to RGB, already rgb", space(false, Info(10, 24, "rgb")), kVxOk, false},
        {"to RGB, native", space(false, Info(10, 24, "YCC", 1)), kVxOk, false},
        {"to RGB, 32 bits", space(false, Info(10, 32, "YCC")), kVxErrUnsupportedDepth, false},
        {"to RGB, 8 bits", space(false, Info(10, 8, "YCC")), kVxErrUnsupportedDepth, false},
        {"to RGB, other name", space(false, Info(10, 24, "YCCK")), kVxOk, true},
        {"to YCC, already ycc", space(true, Info(10, 48, "ycc")), kVxOk, false},
        {"to YCC, native", space(true, Info(10, 32, "RGB", 1)), kVxOk, false},
        {"to YCC, 16 bits", space(true, Info(10, 16)), kVxErrUnsupportedDepth, false},
        {"to YCC, 48 bits", space(true, Info(10, 48)), kVxOk, true},
        {"to native, 32 bits", toNative(Info(10, 32), false, false), kVxErrUnsupportedDepth, false},
        {"to native, no source", toNative(Info(10, 24), true, false), kVxOk, false},
        {"to native, no target", toNative(Info(10, 24), false, true), kVxOk, false},
        {"to native, 24 bits", toNative(Info(10, 24), false, false), kVxOk, true},
        {"from native, no source", fromNative(Info(10, 32), true, false), kVxErrMissingBuffer,
         false},
        {"from native, no target", fromNative(Info(10, 32), false, true), kVxErrMissingBuffer,
         false},
        {"from native, 24 bits", fromNative(Info(10, 24), false, false), kVxErrUnsupportedDepth,
         false},
        {"from native, 32 bits", fromNative(Info(10, 32), false, false), kVxOk, true},
    };
    for (const Case& c : kCases) {
        std::fill(dst.begin(), dst.end(), 0);
        EXPECT_EQ(c.call(), c.expected) << c.what;
        EXPECT_EQ(dst != untouched, c.writes) << c.what;
    }
}

// A handle's line buffers pointing at test-owned storage (so nothing is freed behind them).
struct Handle {
    std::vector<uint8_t> read, read2, conv, conv2;
    CParam param;

    Handle(int width, int readDepth, const char* readSpace, int convert, bool second,
           std::mt19937& rng) {
        const int depth16 = readDepth == 48;
        read = RandomBytes(size_t(width) * readDepth / 8, rng);
        read2 = RandomBytes(size_t(width) * (depth16 ? 2 : 1), rng);
        conv.assign(size_t(width) * 6, 0xEE);
        conv2.assign(size_t(width) * 2, 0xEE);
        param.lConvert = convert;
        param.lLine = 4;
        param.bufRead.info = Info(width, readDepth, readSpace);
        param.bufRead.pBuffer = read.data();
        param.bufConv.pBuffer = conv.data();
        param.bufRead2.info = Info(width, depth16 ? 16 : 8);
        param.bufRead2.pBuffer = second ? read2.data() : nullptr;
        param.bufConv2.pBuffer = conv2.data();
    }
};

TEST_P(PixelConvertTest, DepthAndSpaceFollowsTheConversionCode) {
    using u16 = uint16_t;
    const int w = 45, line = 4;
    using Model = std::function<void(const uint8_t* in, uint8_t* out)>;
    using model::Out;
    const Model widen = [](const uint8_t* s, uint8_t* d) {
        for (int i = 0; i < 3 * w; ++i)
            As<u16>(d)[i] = u16(s[i] << 8);
    };
    const Model narrow = [](const uint8_t* s, uint8_t* d) {
        model::Reduce16(As<u16>(s), d, w, 3, line);
    };
    struct Case {
        int code, readDepth;
        const char* space;
        int32_t expected;
        Model main;         // null: bufConv untouched
        int outBytes;       // per main-plane pixel
        bool inPlaceToYcc;  // 16/32: bufRead converted where it lies
        bool inPlaceToRgb;
    };
    const Case kCases[] = {
        {4, 24, "RGB", kVxOk, widen, 6, false, false},
        {4 | 2, 24, "RGB", kVxOk, widen, 6, false, false},  // the native bit is ignored
        {8, 48, "RGB", kVxOk, narrow, 3, false, false},
        {20, 24, "RGB", kVxOk,
         [](const uint8_t* s, uint8_t* d) { model::ColourLine(s, d, w, line, true, Out::k16); }, 6,
         false, false},
        {24, 48, "RGB", kVxOk,
         [](const uint8_t* s, uint8_t* d) {
             model::ColourLine(As<u16>(s), d, w, line, true, Out::k8);
         },
         3, false, false},
        {36, 24, "YCC", kVxOk,
         [](const uint8_t* s, uint8_t* d) { model::ColourLine(s, d, w, line, false, Out::k16); }, 6,
         false, false},
        {40, 48, "YCC", kVxOk,
         [](const uint8_t* s, uint8_t* d) {
             model::ColourLine(As<u16>(s), d, w, line, false, Out::k8);
         },
         3, false, false},
        {16, 24, "RGB", kVxNo, nullptr, 0, true, false},
        {16 | 2, 48, "RGB", kVxNo, nullptr, 0, true, false},
        {32, 24, "YCC", kVxNo, nullptr, 0, false, true},
        {0, 24, "RGB", kVxNo, nullptr, 0, false, false},
        {1, 24, "RGB", kVxNo, nullptr, 0, false, false},
        {12, 24, "RGB", kVxNo, nullptr, 0, false, false},
        {48, 24, "RGB", kVxNo, nullptr, 0, false, false},
    };
    std::mt19937 rng(99);
    for (const Case& c : kCases) {
        for (bool second : {true, false}) {
            Handle h(w, c.readDepth, c.space, c.code, second, rng);
            const std::vector<uint8_t> read = h.read, read2 = h.read2, conv = h.conv;
            EXPECT_EQ(CPixelConvert::ConvertDepthAndSpace(&h.param), c.expected) << c.code;

            std::vector<uint8_t> wantConv = conv;
            if (c.main) c.main(read.data(), wantConv.data());
            EXPECT_EQ(h.conv, wantConv) << "main plane, code " << c.code;

            std::vector<uint8_t> wantRead = read;
            if (c.inPlaceToYcc || c.inPlaceToRgb) {
                const bool wide = c.readDepth == 48;
                if (wide)
                    model::ColourLine(As<u16>(read.data()), wantRead.data(), w, 0, c.inPlaceToYcc,
                                      Out::k16);
                else
                    model::ColourLine(read.data(), wantRead.data(), w, 0, c.inPlaceToYcc, Out::k8);
            }
            EXPECT_EQ(h.read, wantRead) << "source line, code " << c.code;
            EXPECT_EQ(h.read2, read2) << "second source, code " << c.code;

            // The second plane follows the depth change only, one sample per pixel.
            std::vector<uint8_t> wantConv2(size_t(w) * 2, 0xEE);
            const int depthBits = c.code & 12;
            if (second && c.main && depthBits == 4)
                for (int i = 0; i < w; ++i)
                    As<u16>(wantConv2.data())[i] = u16(read2[i] << 8);
            if (second && c.main && depthBits == 8)
                model::Reduce16(As<u16>(read2.data()), wantConv2.data(), w, 1, line);
            EXPECT_EQ(h.conv2, wantConv2) << "second plane, code " << c.code << " " << second;
        }
    }
}

}  // namespace
