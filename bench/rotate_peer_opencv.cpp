// OpenCV, single-threaded, rotating the same 4032 x 3024 RGB 8-bit image as bench_rotate:
// cv::rotate for a quarter turn, cv::warpAffine into the expanded canvas for 30 degrees with
// each interpolation. Prints one line per case: name, median milliseconds of thread CPU time
// (the machine may be shared; bench_rotate's CPU time is compared), Mpixel/s (source pixels).
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <time.h>
#include <algorithm>

#include <cmath>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

constexpr int kWidth = 4032;
constexpr int kHeight = 3024;
constexpr int kRuns = 15;

double ThreadCpuMs() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

double MedianMs(const std::function<void()>& run) {
    run();
    std::vector<double> times;
    for (int i = 0; i < kRuns; ++i) {
        const double start = ThreadCpuMs();
        run();
        times.push_back(ThreadCpuMs() - start);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void Print(const char* name, double ms) {
    std::printf("%-20s %9.2f ms %9.1f Mpixel/s\n", name, ms, kWidth * double(kHeight) / 1e3 / ms);
}

}  // namespace

int main() {
    cv::setNumThreads(1);
    cv::Mat source(kHeight, kWidth, CV_8UC3);
    cv::randu(source, cv::Scalar::all(0), cv::Scalar::all(256));

    cv::Mat turned;
    Print("90/Nearest", MedianMs([&] { cv::rotate(source, turned, cv::ROTATE_90_CLOCKWISE); }));

    // The canvas that holds the whole rotated image, the source centred in it.
    const double angle = 30.0;
    const cv::Point2f centre(kWidth / 2.0f, kHeight / 2.0f);
    cv::Mat matrix = cv::getRotationMatrix2D(centre, -angle, 1.0);
    const cv::Rect2f box = cv::RotatedRect(centre, source.size(), float(angle)).boundingRect2f();
    matrix.at<double>(0, 2) += box.width / 2.0 - centre.x;
    matrix.at<double>(1, 2) += box.height / 2.0 - centre.y;
    const cv::Size canvas(int(std::lround(box.width)), int(std::lround(box.height)));
    cv::Mat warped;
    const struct {
        const char* name;
        int flag;
    } methods[] = {{"30/Nearest", cv::INTER_NEAREST},
                   {"30/Bilinear", cv::INTER_LINEAR},
                   {"30/Bicubic", cv::INTER_CUBIC}};
    for (const auto& m : methods) {
        Print(m.name, MedianMs([&] {
                  cv::warpAffine(source, warped, matrix, canvas, m.flag, cv::BORDER_CONSTANT,
                                 cv::Scalar(128, 128, 128));
              }));
    }
    return 0;
}
