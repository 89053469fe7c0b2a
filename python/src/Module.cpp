// The _vandrel extension: the functions the vandrel package offers, with their arguments
// checked and turned into the library's terms.
#include <strings.h>

#include <filesystem>
#include <optional>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include "Engines.h"
#include "Failure.h"
#include "FileReports.h"
#include "Geometry.h"
#include "ImageRead.h"
#include "ImageWrite.h"
#include "OptionParsers.h"

namespace py = pybind11;
using namespace py::literals;

namespace {

using Path = std::filesystem::path;

// "RRGGBB" (or "#RRGGBB") as the tool takes it, or an (r, g, b) triple of 0-255.
int32_t PackedColor(const py::object& color) {
    int32_t packed = 0;
    if (py::isinstance<py::str>(color)) {
        const std::string text = color.cast<std::string>();
        if (!vxtool::ParseColor(text, &packed))
            throw py::value_error("background: expected RRGGBB in hex, got '" + text + "'");
        return packed;
    }
    const auto rgb = color.cast<std::vector<int>>();
    if (rgb.size() != 3) throw py::value_error("background: expected (r, g, b)");
    for (size_t i = 0; i < 3; ++i) {
        if (rgb[i] < 0 || rgb[i] > 255) throw py::value_error("background: samples run 0-255");
        packed |= rgb[i] << (8 * i);
    }
    return packed;
}

std::string ColorSpaceName(const std::optional<std::string>& text) {
    if (!text) return "";
    if (::strcasecmp(text->c_str(), "rgb") == 0) return "RGB";
    if (::strcasecmp(text->c_str(), "ycc") == 0) return "YCC";
    throw py::value_error("colorspace: expected rgb or ycc, got '" + *text + "'");
}

int32_t DepthOption(const std::optional<int>& depth) {
    if (!depth) return 0;
    if (*depth != 24 && *depth != 48) throw py::value_error("depth: expected 24 or 48");
    return *depth;
}

std::string MethodName(const std::string& text) {
    std::string name;
    if (!vxtool::ParseMethod(text, &name))
        throw py::value_error(
            "method: expected nearest, bilinear, bicubic, quorix or squeeze, "
            "got '" +
            text + "'");
    return name;
}

// The writer settings both thumbnail and write take, as the tool's convert options.
struct CWriterOptions {
    std::optional<int> quality;
    std::optional<py::object> compression;
    bool progressive = false;
    std::optional<int> subsample;
};

void TakeWriterOptions(const CWriterOptions& w, vxtool::CConvertOptions* options) {
    if (w.quality && (*w.quality < 1 || *w.quality > 100))
        throw py::value_error("quality: expected 1 to 100");
    options->quality = w.quality.value_or(0);
    if (w.compression) options->compression = py::str(*w.compression).cast<std::string>();
    options->progressive = w.progressive;
    options->subsample = w.subsample.value_or(0);
}

int32_t ThumbnailOf(const Path& src, const Path& dst, int32_t width, int32_t height,
                    const std::string& method, const std::optional<std::string>& format,
                    const std::optional<int>& quality, const std::optional<py::object>& compression,
                    bool progressive, const std::optional<int>& subsample,
                    const std::optional<int>& depth, const std::optional<std::string>& colorspace,
                    double rotate, const py::object& background, const std::optional<Path>& alpha,
                    bool strip, bool noRotate, bool failOnWarning, bool shrinkOnLoad) {
    vxtool::CConvertOptions options;
    options.input = src.string();
    options.output = dst.string();
    options.alphaOutput = alpha ? alpha->string() : "";
    options.format = format.value_or("");
    if (width < 0 || height < 0) throw py::value_error("width and height must not be negative");
    options.width = width;
    options.height = height;
    options.method = MethodName(method);
    options.angle = rotate;
    options.background = PackedColor(background);
    options.depth = DepthOption(depth);
    options.colorSpace = ColorSpaceName(colorspace);
    TakeWriterOptions({quality, compression, progressive, subsample}, &options);
    options.strip = strip;
    options.noRotate = noRotate;
    options.failOnWarning = failOnWarning;
    options.shrinkOnLoad = shrinkOnLoad;
    if (options.method == "Squeeze" && options.angle != 0.0)
        throw py::value_error("method squeeze picks pixels while decoding and cannot rotate");
    return vxpy::Thumbnail(options);
}

void WriteOf(const Path& path, const py::array& array, const std::optional<std::string>& format,
             const std::optional<int>& quality, const std::optional<py::object>& compression,
             bool progressive, const std::optional<int>& subsample, const std::optional<int>& depth,
             const std::optional<std::string>& colorspace) {
    vxpy::CWriteOptions options;
    options.format = format.value_or("");
    TakeWriterOptions({quality, compression, progressive, subsample}, &options.settings);
    options.depth = DepthOption(depth);
    options.colorSpace = ColorSpaceName(colorspace);
    vxpy::WriteImage(path.string(), array, options);
}

}  // namespace

PYBIND11_MODULE(_vandrel, m) {
    m.doc() = "Image files, resizing and rotation through the vandrel library.";
    vxpy::RegisterFailures(m);

    m.def(
        "read", [](const Path& path) { return vxpy::ReadImage(path.string()); }, "path"_a,
        "Decodes an image file: H x W x 3 (RGB), H x W x 4 (RGBA) or H x W (grey), uint8 or "
        "uint16 as the file stores it.");
    m.def("write", &WriteOf, "path"_a, "array"_a, py::kw_only(), "format"_a = py::none(),
          "quality"_a = py::none(), "compression"_a = py::none(), "progressive"_a = false,
          "subsample"_a = py::none(), "depth"_a = py::none(), "colorspace"_a = py::none(),
          "Encodes an array; the writer comes from the extension unless format names one. "
          "quality, compression (PNG 0-9, TIFF none/lzw/deflate/jpeg), progressive and "
          "subsample (444/422/420) as the tool's convert takes them; depth 24/48 and "
          "colorspace rgb/ycc choose what the file stores. The file appears only when "
          "complete.");
    m.def("formats", &vxpy::Formats, "The loaded plug-ins as `vandrel formats --json` lists them.");
    m.def(
        "info", [](const Path& path) { return vxpy::FileInfo(path.string()); }, "path"_a,
        "What `vandrel info --json` says about a file, as a dict.");
    m.def(
        "tags",
        [](const Path& path, const py::list& tags) { return vxpy::FileTags(path.string(), tags); },
        "path"_a, "tags"_a = py::list(),
        "TIFF/Exif tag values as `vandrel tags --json` gives them: {'result': R, '0x9003': "
        "{...}}; tags are numbers or texts such as '0x9003', none = the common ones.");
    m.def("resize", &vxpy::ResizeArray, "array"_a, "width"_a = 0, "height"_a = 0,
          "method"_a = "Bicubic",
          "Resizes with the library's engine (nearest, bilinear, bicubic, quorix). One side of "
          "0 keeps the aspect ratio.");
    m.def(
        "rotate",
        [](const py::array& array, double degrees, const std::string& method,
           const py::object& background) {
            return vxpy::RotateArray(array, degrees, method, PackedColor(background));
        },
        "array"_a, "degrees"_a, "method"_a = "Bicubic", "background"_a = "000000",
        "Rotates clockwise by any angle (nearest, bilinear, bicubic); uncovered corners take "
        "background ('RRGGBB' or (r, g, b)), alpha planes 0.");
    m.def("thumbnail", &ThumbnailOf, "src"_a, "dst"_a, "width"_a = 0, "height"_a = 0, py::kw_only(),
          "method"_a = "Bicubic", "format"_a = py::none(), "quality"_a = py::none(),
          "compression"_a = py::none(), "progressive"_a = false, "subsample"_a = py::none(),
          "depth"_a = py::none(), "colorspace"_a = py::none(), "rotate"_a = 0.0,
          "background"_a = "000000", "alpha"_a = py::none(), "strip"_a = false,
          "no_rotate"_a = false, "fail_on_warning"_a = false, "shrink_on_load"_a = true,
          "Does what `vandrel convert SRC DST --width W ...` does for one file: turned upright "
          "from its Exif orientation (unless no_rotate), metadata carried (unless strip), JPEG "
          "reductions decoded at a reduced scale first (unless shrink_on_load=False). "
          "Answers 1, or the warning code of a conversion that went through.");
    m.def("plugin_folder", &vxpy::PlugInFolder, "The plug-in folder in force.");
    m.def(
        "set_plugin_folder",
        [](const std::optional<Path>& folder) {
            vxpy::SetPlugInFolder(folder ? folder->string() : std::string());
        },
        "folder"_a,
        "Loads plug-ins from folder from now on, in every thread; None goes back to "
        "$VANDREL_PLUGIN_DIR or the folder beside the module.");
}
