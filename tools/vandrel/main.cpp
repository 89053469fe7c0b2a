// vandrel: the command line over the image-file framework.
//   vandrel formats | info FILE... | tags FILE [TAG...] | convert IN OUT | chart OUT
#include <strings.h>

#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "OptionParsers.h"

namespace {

using namespace vxtool;

int UsageError(std::string message) {
    for (char& c : message)
        if (c == '\n') c = ' ';
    std::cerr << "vandrel: " << message << " (see vandrel --help)\n";
    return kExitUsage;
}

struct ConvertTexts {
    std::string size;
    std::string method = "bicubic";
    std::string background;
    std::string colorSpace;
};

// Turns the option texts into options; an empty answer means all were good.
std::string ReadConvertTexts(const ConvertTexts& texts, CConvertOptions* options) {
    if (!texts.size.empty() && !ParseSize(texts.size, &options->width, &options->height))
        return "--size: expected WxH (or Wx, xH), got '" + texts.size + "'";
    if (!ParseMethod(texts.method, &options->method))
        return "--method: expected nearest, bilinear, bicubic, quorix or squeeze, got '" +
               texts.method + "'";
    if (!texts.background.empty() && !ParseColor(texts.background, &options->background))
        return "--background: expected RRGGBB in hex, got '" + texts.background + "'";
    if (!texts.colorSpace.empty()) {
        if (::strcasecmp(texts.colorSpace.c_str(), "rgb") == 0)
            options->colorSpace = "RGB";
        else if (::strcasecmp(texts.colorSpace.c_str(), "ycc") == 0)
            options->colorSpace = "YCC";
        else
            return "--colorspace: expected rgb or ycc, got '" + texts.colorSpace + "'";
    }
    if (options->method == "Squeeze" && options->angle != 0.0)
        return "--method squeeze picks pixels while decoding and cannot be combined with --rotate";
    return "";
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "vandrel: reads, writes, converts, resizes and rotates images through codec plug-ins"};
    app.set_version_flag("--version", "vandrel " VANDREL_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    std::string plugIns = DefaultPlugInFolder();
    app.add_option("--plugins", plugIns, "plug-in folder (default: beside the executable)");

    bool json = false;
    CLI::App* formats =
        app.add_subcommand("formats", "list the loaded plug-ins and what they read and write");
    formats->add_flag("--json", json, "print JSON");

    std::vector<std::string> files;
    CLI::App* info = app.add_subcommand("info", "describe image files");
    info->add_option("files", files, "image files")->required();
    info->add_flag("--json", json, "print a JSON array, one object per file");

    std::string tagFile;
    std::vector<std::string> tags;
    bool allTags = false;
    CLI::App* tagsCmd = app.add_subcommand("tags", "show TIFF/Exif tag values");
    tagsCmd->add_option("file", tagFile, "JPEG or TIFF file")->required();
    tagsCmd->add_option("tags", tags, "tag numbers, 0x9003 or 36867 (default: common ones)");
    tagsCmd->add_flag("--all", allTags, "everything the plug-in's tag database holds");
    tagsCmd->add_flag("--json", json, "print JSON");

    CConvertOptions convertOptions;
    ConvertTexts texts;
    bool progress = false;
    CLI::App* convert = app.add_subcommand("convert", "convert, resize and rotate an image file");
    convert->add_option("input", convertOptions.input, "image file to read")->required();
    convert
        ->add_option("output", convertOptions.output,
                     "file to write; the extension picks the format")
        ->required();
    convert->add_option("--format", convertOptions.format,
                        "format to write (PNM, PPM, PGM, JPEG, PNG, TIFF)");
    CLI::Option* width = convert->add_option("--width", convertOptions.width, "output width")
                             ->check(CLI::PositiveNumber);
    CLI::Option* height = convert->add_option("--height", convertOptions.height, "output height")
                              ->check(CLI::PositiveNumber);
    convert->add_option("--size", texts.size, "output size WxH")->excludes(width)->excludes(height);
    convert->add_option("--method", texts.method,
                        "nearest|bilinear|bicubic|quorix|squeeze (default bicubic)");
    convert->add_option("--rotate", convertOptions.angle,
                        "clockwise rotation in degrees, after the Exif orientation");
    convert->add_option("--background", texts.background,
                        "RRGGBB behind a rotation's corners and under transparent pixels when "
                        "the output format has no alpha (default 000000)");
    convert->add_option("--depth", convertOptions.depth, "24 or 48 bits per pixel")
        ->check(CLI::IsMember({24, 48}));
    convert->add_option("--colorspace", texts.colorSpace, "rgb or ycc");
    convert->add_option("--quality", convertOptions.quality, "JPEG and TIFF-JPEG quality 1-100")
        ->check(CLI::Range(1, 100));
    convert->add_option("--compression", convertOptions.compression,
                        "PNG level 0-9; TIFF none|lzw|deflate|jpeg");
    convert->add_flag("--progressive", convertOptions.progressive, "progressive JPEG");
    convert->add_option("--subsample", convertOptions.subsample, "JPEG chroma subsampling")
        ->check(CLI::IsMember({444, 422, 420}));
    convert->add_flag("--strip", convertOptions.strip,
                      "drop the ICC profile, Exif and XMP (default: carried over)");
    convert->add_flag("--no-rotate", convertOptions.noRotate,
                      "keep the stored pixels and the Exif orientation (default: upright)");
    std::string failOn;
    convert->add_option("--fail-on", failOn, "warning: damaged data fails the conversion")
        ->check(CLI::IsMember({"warning"}));
    convert->add_option("--alpha", convertOptions.alphaOutput,
                        "also write the alpha plane to this file");
    convert->add_flag("--progress", progress, "progress bar on stderr when it is a terminal");

    CChartOptions chartOptions;
    std::string chartSize;
    CLI::App* chart = app.add_subcommand("chart", "write the built-in test chart");
    chart->add_option("output", chartOptions.output, "file to write")->required();
    chart->add_option("--size", chartSize, "size WxH (default 640x480)");
    chart->add_option("--depth", chartOptions.depth, "24 or 48 bits per pixel")
        ->check(CLI::IsMember({24, 48}));
    chart->add_option("--format", chartOptions.format, "format to write");
    chart->add_flag("--alpha", chartOptions.alpha, "add an alpha plane");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return app.exit(e);
        return UsageError(e.what());
    }

    const CToolService service(plugIns);
    if (formats->parsed()) return RunFormats(service, json, std::cout, std::cerr);
    if (info->parsed()) return RunInfo(service, files, json, std::cout, std::cerr);
    if (tagsCmd->parsed())
        return RunTags(service, tagFile, tags, allTags, json, std::cout, std::cerr);
    if (convert->parsed()) {
        const std::string problem = ReadConvertTexts(texts, &convertOptions);
        if (!problem.empty()) return UsageError(problem);
        convertOptions.failOnWarning = failOn == "warning";
        return RunConvert(service, convertOptions, progress, std::cerr);
    }
    if (chart->parsed()) {
        if (!chartSize.empty()) {
            int32_t w = 0, h = 0;
            if (!ParseSize(chartSize, &w, &h) || w == 0 || h == 0)
                return UsageError("--size: expected WxH, got '" + chartSize + "'");
            chartOptions.width = w;
            chartOptions.height = h;
        }
        return RunChart(service, chartOptions, std::cerr);
    }
    return UsageError("no command");
}
