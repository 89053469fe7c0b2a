#include "FileReports.h"

#include <unistd.h>

#include "ConvertJob.h"
#include "Engines.h"
#include "Failure.h"
#include "FormatTable.h"
#include "InfoReport.h"
#include "OptionParsers.h"
#include "TagReport.h"

namespace py = pybind11;
using namespace py::literals;

namespace vxpy {
namespace {

py::dict JsonToDict(const nlohmann::ordered_json& json) {
    const std::string text = json.dump();
    return py::module_::import("json").attr("loads")(text);
}

std::vector<uint16_t> TagNumbers(const py::list& tags) {
    std::vector<uint16_t> numbers;
    for (const py::handle& item : tags) {
        uint16_t tag = 0;
        if (py::isinstance<py::int_>(item)) {
            const long value = item.cast<long>();
            if (value < 1 || value > 0xFFFF)
                throw py::value_error("tag numbers run from 1 to 0xFFFF");
            tag = uint16_t(value);
        } else if (py::isinstance<py::str>(item)) {
            const std::string text = item.cast<std::string>();
            if (!vxtool::ParseTag(text, &tag))
                throw py::value_error("not a tag number: '" + text + "' (use 0x9003 or 36867)");
        } else {
            throw py::type_error("tags: expected numbers or texts such as '0x9003'");
        }
        numbers.push_back(tag);
    }
    return numbers.empty() ? vxtool::DefaultTags() : numbers;
}

}  // namespace

py::list Formats() {
    CEngines& engines = CEngines::ForThisThread();
    const vxtool::CFormatTable table(engines.Service());
    py::list list;
    for (const vxtool::CFormatEntry& e : table.entries()) {
        list.append(py::dict("name"_a = e.name, "read"_a = e.reads, "write"_a = e.writes,
                             "extensions"_a = vxtool::CFormatTable::DottedExtensions(e.extensions),
                             "version"_a = e.version));
    }
    return list;
}

py::dict FileInfo(const std::string& path) {
    CEngines& engines = CEngines::ForThisThread();
    vxtool::CFileFacts facts;
    {
        py::gil_scoped_release unlocked;
        Check(vxtool::GatherFacts(engines.Service(), path, &facts), path);
    }
    return JsonToDict(vxtool::FactsToJson(facts));
}

py::dict FileTags(const std::string& path, const py::list& tags) {
    const std::vector<uint16_t> numbers = TagNumbers(tags);
    std::vector<vxtool::CTagHit> hits;
    int32_t result = 0;
    {
        py::gil_scoped_release unlocked;
        if (::access(path.c_str(), R_OK) != 0) throw CFailure{kVxErrBadHandle, path, ""};
        result = vxtool::SearchTags(path, numbers, &hits);
    }
    Check(result, path);
    return JsonToDict(vxtool::HitsToJson(result, hits));
}

int32_t Thumbnail(const vxtool::CConvertOptions& options) {
    CEngines& engines = CEngines::ForThisThread();
    int32_t result = 1;
    std::string warningFile;
    std::vector<std::string> dropped;
    {
        py::gil_scoped_release unlocked;
        vxtool::CConvertJob job(engines.Service(), nullptr);
        job.SetPlugInShelf(&engines.Shelf());
        result = job.Run(options);
        if (job.misuse()) throw py::value_error(job.detail());
        if (VxIsFailure(result)) throw CFailure{result, job.failedFile(), job.detail()};
        warningFile = job.warningFile();
        dropped = job.dropped();
    }
    WarnAbout(result, warningFile);
    for (const std::string& what : dropped) {
        const std::string text =
            options.output + ": the format cannot hold " + what + "; written without it";
        if (PyErr_WarnEx(PyExc_UserWarning, text.c_str(), 1) < 0) throw py::error_already_set();
    }
    return result;
}

}  // namespace vxpy
