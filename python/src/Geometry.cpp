#include "Geometry.h"

#include <cstring>
#include <vector>

#include "Engines.h"
#include "Failure.h"
#include "OptionParsers.h"
#include "PixelArray.h"

namespace py = pybind11;

namespace vxpy {
namespace {

// One plane, line after line without padding.
struct CPlane {
    const unsigned char* pixels;
    CUImageInfo info;
};

std::string EngineMethod(const std::string& method) {
    std::string name;
    if (!vxtool::ParseMethod(method, &name) || name == "Squeeze")
        throw py::value_error("method: expected nearest, bilinear, bicubic or quorix, got '" +
                              method + "'");
    return name;
}

// Pushes the plane through the resize object line by line, as the macro's resize stage does:
// a push that produces nothing, or that the engine refuses once every output line is out, is
// taken as "still collecting". Lines go in through a padded buffer, since the engine may read
// whole words past a packed line's end.
void ResizePlane(IUtilResizeIF* resizer, const CPlane& plane, const CURequest& request,
                 unsigned char* out) {
    struct Ender {
        IUtilResizeIF* r;
        ~Ender() { r->EndResize(); }
    };
    CUImageInfo source = plane.info;
    source.lRowBytes = 0;
    Check(resizer->BeginResize(source, request), "");
    Ender ender{resizer};
    const size_t inBytes = size_t(plane.info.lWidth) * size_t(plane.info.lColorDepth / 8);
    const size_t outBytes = size_t(request.info.lWidth) * size_t(plane.info.lColorDepth / 8);
    std::vector<unsigned char> line(size_t(source.RowBytes()) + 8);
    int32_t outY = 0;
    for (int32_t y = 0; y < plane.info.lHeight; ++y) {
        std::memcpy(line.data(), plane.pixels + size_t(y) * inBytes, inBytes);
        const int32_t ready = resizer->SetLine(line.data());
        for (int32_t i = 0; i < ready; ++i) {
            const void* resized = resizer->GetLine();
            if (resized == nullptr || outY >= request.info.lHeight)
                throw CFailure{kVxErrMacroSqueezeLine, "", ""};
            std::memcpy(out + size_t(outY++) * outBytes, resized, outBytes);
        }
    }
    if (outY != request.info.lHeight) throw CFailure{kVxErrMacroSqueezeLine, "", ""};
}

// Rotates one plane into `out` (packed lines); answers the output size when out is null.
void RotatePlane(IUtilRotateIF* rotator, const CPlane& plane, const CURequest& request,
                 int32_t* width, int32_t* height, unsigned char* out) {
    struct Ender {
        IUtilRotateIF* r;
        ~Ender() { r->EndRotating(); }
    };
    Check(rotator->BeginRotating(plane.pixels, plane.info, request), "");
    Ender ender{rotator};
    Check(rotator->GetOutputImageSize(*width, *height), "");
    if (out == nullptr) return;
    const size_t packed = size_t(*width) * size_t(plane.info.lColorDepth / 8);
    for (int32_t y = 0; y < *height; ++y)
        Check(rotator->GetLine(out + size_t(y) * packed), "");
}

}  // namespace

py::array ResizeArray(const py::array& array, int32_t width, int32_t height,
                      const std::string& method) {
    const CPixelShape shape = InspectArray(array, "array");
    if (width < 0 || height < 0 || (width == 0 && height == 0))
        throw py::value_error("width and height: at least one must be given, none negative");
    CURequest request;
    request.strResizeMethod = EngineMethod(method).c_str();
    vxtool::FitSize(shape.width, shape.height, width, height, &request.info.lWidth,
                    &request.info.lHeight);
    CPixelShape outShape = shape;
    outShape.width = request.info.lWidth;
    outShape.height = request.info.lHeight;
    py::array result = MakeArray(outShape);
    const auto* in = static_cast<const unsigned char*>(array.data());
    auto* out = static_cast<unsigned char*>(result.mutable_data());
    CEngines& engines = CEngines::ForThisThread();
    py::gil_scoped_release unlocked;
    IUtilResizeIF* resizer = engines.Resizer();
    if (!shape.HasAlpha()) {
        ResizePlane(resizer, {in, shape.ColorInfo()}, request, out);
        return result;
    }
    const CPlanes source = SplitPlanes(in, shape);
    CPlanes resized;
    resized.color.resize(size_t(outShape.width) * 3 * size_t(shape.sampleBytes) *
                         size_t(outShape.height));
    resized.alpha.resize(size_t(outShape.width) * size_t(shape.sampleBytes) *
                         size_t(outShape.height));
    ResizePlane(resizer, {source.color.data(), shape.ColorInfo()}, request, resized.color.data());
    ResizePlane(resizer, {source.alpha.data(), shape.AlphaInfo()}, request, resized.alpha.data());
    MergePlanes(resized, outShape, out);
    return result;
}

py::array RotateArray(const py::array& array, double degrees, const std::string& method,
                      int32_t background) {
    const CPixelShape shape = InspectArray(array, "array");
    CURequest request;
    request.dAngle = degrees;
    request.lBKColor = background;
    request.strResizeMethod = EngineMethod(method).c_str();
    const auto* in = static_cast<const unsigned char*>(array.data());
    CEngines& engines = CEngines::ForThisThread();
    IUtilRotateIF* rotator = engines.Rotator();

    CPixelShape outShape = shape;
    CPlanes source;
    {
        py::gil_scoped_release unlocked;
        if (shape.HasAlpha()) source = SplitPlanes(in, shape);
        const CPlane first{shape.HasAlpha() ? source.color.data() : in, shape.ColorInfo()};
        RotatePlane(rotator, first, request, &outShape.width, &outShape.height, nullptr);
    }
    py::array result = MakeArray(outShape);
    auto* out = static_cast<unsigned char*>(result.mutable_data());
    py::gil_scoped_release unlocked;
    int32_t w = 0, h = 0;
    if (!shape.HasAlpha()) {
        RotatePlane(rotator, {in, shape.ColorInfo()}, request, &w, &h, out);
        return result;
    }
    CPlanes rotated;
    rotated.color.resize(size_t(outShape.RowBytes()) / 4 * 3 * size_t(outShape.height));
    rotated.alpha.resize(size_t(outShape.RowBytes()) / 4 * size_t(outShape.height));
    RotatePlane(rotator, {source.color.data(), shape.ColorInfo()}, request, &w, &h,
                rotated.color.data());
    RotatePlane(rotator, {source.alpha.data(), shape.AlphaInfo()}, request, &w, &h,
                rotated.alpha.data());
    MergePlanes(rotated, outShape, out);
    return result;
}

}  // namespace vxpy
