// Vandrel against OpenCV on the same pixels, one thread, CPU time. Each row runs the two sides
// alternately (A, B, A, B, ...) after one untimed warm-up each, both writing into output
// images allocated and touched once before timing. Prints one table: median milliseconds of
// both, the ratio OpenCV / Vandrel (above 1: we are faster), the range of the per-pair
// ratios, and for streaming rows the memcpy time of the same output bytes and our share of
// that bandwidth. Built and run by bench/peers.sh.
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "vandrel/ExResize.h"
#include "vandrel/UtilRotateIF.h"

namespace {

constexpr int kWidth = 4032;
constexpr int kHeight = 3024;

double CpuMs() {
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

double TimeMs(const std::function<void()>& run) {
    const double start = CpuMs();
    run();
    return CpuMs() - start;
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

// A photograph-like frame: smooth waves with grain, the same on every run.
cv::Mat MakeFrame(int width, int height, int depth) {
    cv::Mat m(height, width, depth == 8 ? CV_8UC3 : CV_16UC3);
    const double top = depth == 8 ? 255.0 : 65535.0;
    uint32_t state = 12345;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 3; ++c) {
                state = state * 1664525u + 1013904223u;
                const double wave = 0.5 + 0.35 * std::sin(x * 0.004 * (c + 1) + y * 0.003);
                const double v = std::fmin(top, (wave + ((state >> 16) & 0xff) / 255.0 * 0.15) * top);
                if (depth == 8)
                    m.at<cv::Vec3b>(y, x)[c] = uint8_t(v);
                else
                    m.at<cv::Vec3w>(y, x)[c] = uint16_t(v);
            }
    return m;
}

void Touch(cv::Mat& m) {
    std::memset(m.data, 1, m.total() * m.elemSize());
}

// Our resize through the C interface, every destination line into its place in `out`.
void OurResize(const cv::Mat& src, cv::Mat& out, int method) {
    const uint32_t format = src.depth() == CV_8U ? EXFORMAT_RGB24 : EXFORMAT_RGB48;
    const EXIMAGEINFO s = {src.cols, src.rows, format};
    const EXIMAGEINFO d = {out.cols, out.rows, format};
    EXRESIZE_HANDLE* h = nullptr;
    if (ExCreateResizeHandle(&h) != 0 || ExBeginResize(&s, &d, method, 0, h) != 0) std::abort();
    int lines = 0;
    for (int y = 0; y < src.rows && lines < out.rows; ++y) {
        const int32_t ready = ExResizeSetLine(src.ptr(y), h);
        for (int32_t i = 0; i < ready; ++i)
            ExResizeGetLine(out.ptr(lines++), h, nullptr);
    }
    ExDisposeResizeHandle(h);
}

CUImageInfo InfoOf(const cv::Mat& m) {
    CUImageInfo info;
    info.lWidth = m.cols;
    info.lHeight = m.rows;
    info.lColorDepth = int32_t(m.elemSize() * 8);
    info.lRowBytes = int32_t(m.step[0]);
    return info;
}

// Our rotation from a memory image, every output line into its place in `out`.
void OurRotate(IUtilRotateIF* rotate, const cv::Mat& src, cv::Mat& out, double angle,
               const char* method) {
    CURequest request;
    request.dAngle = angle;
    request.strResizeMethod = method;
    if (rotate->BeginRotating(src.data, InfoOf(src), request) != kVxOk) std::abort();
    for (int y = 0; y < out.rows; ++y)
        rotate->GetLine(out.ptr(y));
    rotate->EndRotating();
}

cv::Size OurRotatedSize(IUtilRotateIF* rotate, const cv::Mat& src, double angle) {
    CURequest request;
    request.dAngle = angle;
    request.strResizeMethod = "Nearest";
    int32_t w = 0, h = 0;
    if (rotate->BeginRotating(src.data, InfoOf(src), request) != kVxOk) std::abort();
    rotate->GetOutputImageSize(w, h);
    rotate->EndRotating();
    return cv::Size(w, h);
}

bool Wanted(const std::string& job, const std::string& only) {
    return only.empty() || job.find(only) != std::string::npos;
}

struct Row {
    std::string job;
    std::string target;
    std::string note;  // where the two sides compute different things
    std::function<void()> ours, theirs;
    size_t streamBytes = 0;  // output bytes, for a memcpy reference; 0 = not a streaming row
};

void RunRow(const Row& row, int pairs) {
    row.ours();
    row.theirs();
    std::vector<double> a, b, ratio;
    for (int i = 0; i < pairs; ++i) {
        a.push_back(TimeMs(row.ours));
        b.push_back(TimeMs(row.theirs));
        ratio.push_back(b.back() / a.back());
    }
    const double ma = Median(a), mb = Median(b);
    std::printf("| %-34s | %8.1f | %8.1f | %5.2f | %4.2f..%-4.2f | %-7s |", row.job.c_str(), ma, mb,
                mb / ma, *std::min_element(ratio.begin(), ratio.end()),
                *std::max_element(ratio.begin(), ratio.end()), row.target.c_str());
    if (row.streamBytes > 0) {
        std::vector<unsigned char> from(row.streamBytes, 1), to(row.streamBytes, 2);
        std::vector<double> copy;
        for (int i = 0; i < pairs; ++i)
            copy.push_back(TimeMs([&] { std::memcpy(to.data(), from.data(), from.size()); }));
        const double mc = Median(copy);
        std::printf(" memcpy %.1f ms, ours at %.0f %% of its bandwidth;", mc, 100.0 * mc / ma);
    }
    std::printf(" %s\n", row.note.c_str());
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const int pairs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 7;
    const std::string only = argc > 2 ? argv[2] : "";
    cv::setNumThreads(1);
    const cv::Mat frame8 = MakeFrame(kWidth, kHeight, 8);
    const cv::Mat frame16 = MakeFrame(kWidth, kHeight, 16);
    cv::Mat small8;
    cv::resize(frame8, small8, cv::Size(kWidth / 4, kHeight / 4), 0, 0, cv::INTER_AREA);
    IUtilRotateIF* rotate = CreateUtilRotate();

    // Output images, one per side and size, allocated and touched before any timing.
    std::vector<cv::Mat*> outputs;
    auto output = [&](cv::Size size, int type) {
        cv::Mat* m = new cv::Mat(size, type);
        Touch(*m);
        outputs.push_back(m);
        return m;
    };

    const char* corner =
        "ours corner-aligned (pixel centres of the first and last columns meet), OpenCV "
        "centre-aligned";
    const char* cubic = "ours: the scale-chosen curve of the bicubic table; OpenCV a = -0.75";
    std::vector<Row> rows;
    auto resizeRow = [&](const std::string& job, const std::string& target, const cv::Mat& src,
                         cv::Size size, int ours, int theirs, const std::string& note) {
        if (!Wanted(job, only)) return;
        cv::Mat* a = output(size, src.type());
        cv::Mat* b = output(size, src.type());
        rows.push_back({job, target, note, [=, &src] { OurResize(src, *a, ours); },
                        [=, &src] { cv::resize(src, *b, size, 0, 0, theirs); }, 0});
    };
    const cv::Size x11(4435, 3326), full(kWidth, kHeight), half(kWidth / 2, kHeight / 2),
        quarter(kWidth / 4, kHeight / 4);
    resizeRow("x1.1 nearest", ">= 1.5", frame8, x11, 0, cv::INTER_NEAREST,
              "same rule (floor(i x S / D))");
    resizeRow("x1.1 bilinear", ">= 1.5", frame8, x11, 1, cv::INTER_LINEAR, corner);
    resizeRow("x1.1 bicubic", ">= 2.0", frame8, x11, 5, cv::INTER_CUBIC, cubic);
    resizeRow("x4 bilinear 1008x756 -> 4032x3024", ">= 1.5", small8, full, 1, cv::INTER_LINEAR,
              corner);
    resizeRow("x4 bicubic", ">= 2.0", small8, full, 5, cv::INTER_CUBIC, cubic);
    resizeRow("1/2 bilinear", ">= 1.0", frame8, half, 1, cv::INTER_LINEAR, corner);
    resizeRow("1/2 bicubic", ">= 2.0", frame8, half, 5, cv::INTER_CUBIC, cubic);
    resizeRow("1/4 box + bicubic vs INTER_AREA", ">= 1.5", frame8, quarter, 5, cv::INTER_AREA,
              "ours 2x2 box then bicubic 2:1; OpenCV a 4x4 box average");
    resizeRow("x1.1 bicubic 16-bit", ">= 1.5", frame16, x11, 5, cv::INTER_CUBIC, cubic);

    auto turnRow = [&](const std::string& job, const std::string& target, const cv::Mat& src,
                       double angle, int code) {
        if (!Wanted(job, only)) return;
        const cv::Size size = OurRotatedSize(rotate, src, angle);
        cv::Mat* a = output(size, src.type());
        cv::Mat* b = output(size, src.type());
        rows.push_back({job, target, "same pixels",
                        [=, &src] { OurRotate(rotate, src, *a, angle, "Nearest"); },
                        [=, &src] { cv::rotate(src, *b, code); },
                        size_t(a->total() * a->elemSize())});
    };
    turnRow("rotate 90", ">= 3", frame8, 90, cv::ROTATE_90_COUNTERCLOCKWISE);
    turnRow("rotate 180", ">= 3", frame8, 180, cv::ROTATE_180);

    auto warpRow = [&](const std::string& job, const std::string& target, const cv::Mat& src,
                       const char* method, int theirs) {
        if (!Wanted(job, only)) return;
        const double angle = 30;
        const cv::Size size = OurRotatedSize(rotate, src, angle);
        cv::Mat* a = output(size, src.type());
        cv::Mat* b = output(size, src.type());
        // The same mapping: the source centre to the output centre, turned by the angle.
        cv::Mat m = cv::getRotationMatrix2D(cv::Point2f(src.cols / 2.0f, src.rows / 2.0f), angle, 1);
        m.at<double>(0, 2) += (size.width - src.cols) / 2.0;
        m.at<double>(1, 2) += (size.height - src.rows) / 2.0;
        rows.push_back(
            {job, target,
             "ours 14-bit sin/cos, 10-bit (bilinear) / 6-bit (bicubic) phases; OpenCV 5-bit "
             "phases (INTER_BITS), bicubic a = -0.75",
             [=, &src] { OurRotate(rotate, src, *a, angle, method); },
             [=, &src] {
                 cv::warpAffine(src, *b, m, size, theirs, cv::BORDER_CONSTANT, cv::Scalar::all(0));
             },
             0});
    };
    warpRow("rotate 30 nearest", ">= 2", frame8, "Nearest", cv::INTER_NEAREST);
    warpRow("rotate 30 bilinear", ">= 2", frame8, "Bilinear", cv::INTER_LINEAR);
    warpRow("rotate 30 bicubic", ">= 2.5", frame8, "Bicubic", cv::INTER_CUBIC);
    warpRow("rotate 30 nearest 16-bit", ">= 2", frame16, "Nearest", cv::INTER_NEAREST);
    warpRow("rotate 30 bilinear 16-bit", ">= 2", frame16, "Bilinear", cv::INTER_LINEAR);
    warpRow("rotate 30 bicubic 16-bit", ">= 2", frame16, "Bicubic", cv::INTER_CUBIC);

    std::printf("4032 x 3024 RGB, one thread, CPU ms, %d interleaved pairs; ratio = OpenCV / ours\n\n",
                pairs);
    std::printf("| %-34s | %8s | %8s | %5s | %-10s | %-7s | notes\n", "job", "ours ms", "OpenCV",
                "ratio", "min..max", "target");
    std::printf("|%s|----------|----------|-------|------------|---------|------\n",
                std::string(36, '-').c_str());
    for (const Row& row : rows)
        RunRow(row, pairs);
    rotate->Delete();
    for (cv::Mat* m : outputs)
        delete m;
    return 0;
}
