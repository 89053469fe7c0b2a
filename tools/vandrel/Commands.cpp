#include "Commands.h"

#include <unistd.h>

#include <cstdio>
#include <iomanip>

#include <nlohmann/json.hpp>

#include "ConvertJob.h"
#include "FormatTable.h"
#include "InfoReport.h"
#include "Interrupt.h"
#include "OptionParsers.h"
#include "PartialFile.h"
#include "PlugInShelf.h"
#include "ProgressBar.h"
#include "StatusText.h"
#include "TagReport.h"
#include "TestChart.h"

namespace vxtool {
namespace {

// Commands that open files need at least one plug-in; say so once, naming the folder.
bool CheckPlugIns(const CToolService& service, std::ostream& err) {
    if (service.get() == nullptr) {
        ReportError(err, service.folder(), kVxErrCreateInstance,
                    "the image-file service could not start");
        return false;
    }
    if (!service.HasPlugIns()) {
        ReportError(err, service.folder(), kVxErrNoPlugIn, "no plug-ins found in this folder");
        return false;
    }
    return true;
}

bool Readable(const std::string& path) {
    return ::access(path.c_str(), R_OK) == 0;
}

}  // namespace

void ReportError(std::ostream& err, const std::string& file, int32_t code,
                 const std::string& detail) {
    err << "vandrel: " << file << ": ";
    if (!detail.empty()) err << detail << ": ";
    err << DescribeStatus(code) << "\n";
}

int RunFormats(const CToolService& service, bool json, std::ostream& out, std::ostream& err) {
    if (!CheckPlugIns(service, err)) return kExitFailure;
    const CFormatTable table(service.get());
    if (json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const CFormatEntry& e : table.entries()) {
            list.push_back({{"name", e.name},
                            {"read", e.reads},
                            {"write", e.writes},
                            {"extensions", CFormatTable::DottedExtensions(e.extensions)},
                            {"version", e.version}});
        }
        out << list.dump(2) << "\n";
        return kExitOk;
    }
    out << "plug-ins from " << service.folder() << "\n";
    out << std::left << std::setw(7) << "format" << std::setw(6) << "read" << std::setw(7)
        << "write" << std::setw(22) << "extensions"
        << "version\n";
    for (const CFormatEntry& e : table.entries()) {
        out << std::setw(7) << e.name << std::setw(6) << (e.reads ? "yes" : "-") << std::setw(7)
            << (e.writes ? "yes" : "-") << std::setw(22)
            << CFormatTable::DottedExtensions(e.extensions) << e.version << "\n";
    }
    return kExitOk;
}

int RunInfo(const CToolService& service, const std::vector<std::string>& files, bool json,
            std::ostream& out, std::ostream& err) {
    if (!CheckPlugIns(service, err)) return kExitFailure;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    int status = kExitOk;
    bool first = true;
    for (const std::string& file : files) {
        CFileFacts facts;
        const int32_t result = GatherFacts(service.get(), file, &facts);
        if (result < 0) {
            ReportError(err, file, result);
            status = kExitFailure;
            continue;
        }
        if (json) {
            list.push_back(FactsToJson(facts));
        } else {
            if (!first) out << "\n";
            PrintFacts(facts, out);
        }
        first = false;
    }
    if (json) out << list.dump(2) << "\n";
    return status;
}

int RunTags(const CToolService& service, const std::string& file,
            const std::vector<std::string>& tagTexts, bool all, bool json, std::ostream& out,
            std::ostream& err) {
    std::vector<uint16_t> tags;
    for (const std::string& text : tagTexts) {
        uint16_t tag = 0;
        if (!ParseTag(text, &tag)) {
            err << "vandrel: not a tag number: '" << text << "' (use 0x9003 or 36867)\n";
            return kExitUsage;
        }
        tags.push_back(tag);
    }
    if (!Readable(file)) {
        ReportError(err, file, kVxErrBadHandle);
        return kExitFailure;
    }
    if (all) {
        if (!CheckPlugIns(service, err)) return kExitFailure;
        IUTagDB* db = service.get()->CreateTagDB();
        if (db == nullptr) {
            ReportError(err, file, kVxErrNoPlugIn, "no plug-in supplies a tag database");
            return kExitFailure;
        }
        const int32_t loaded = db->Load(file.c_str());
        if (loaded < 0) {
            db->Delete();
            ReportError(err, file, loaded);
            return kExitFailure;
        }
        if (json) {
            nlohmann::ordered_json j;
            j["file"] = file;
            j["typeNumbering"] = HitsToJson(1, {}).at("typeNumbering");
            j["groups"] = DatabaseToJson(db);
            out << j.dump(2) << "\n";
        } else {
            PrintDatabase(file, db, out);
        }
        db->Delete();
        return kExitOk;
    }
    if (tags.empty()) tags = DefaultTags();
    std::vector<CTagHit> hits;
    const int32_t result = SearchTags(file, tags, &hits);
    if (json)
        out << HitsToJson(result, hits).dump(2) << "\n";
    else
        PrintHits(file, result, hits, out);
    if (result < 0) {
        ReportError(err, file, result);
        return kExitFailure;
    }
    return kExitOk;
}

int RunConvert(const CToolService& service, const CConvertOptions& options, bool progress,
               std::ostream& err) {
    if (!CheckPlugIns(service, err)) return kExitFailure;
    CInterruptGuard interrupts;
    CProgressBar bar(stderr, progress && ::isatty(STDERR_FILENO) == 1);
    CConvertJob job(service.get(), &bar);
    const CPlugInShelf shelf(service.folder());
    job.SetPlugInShelf(&shelf);
    const int32_t result = job.Run(options);
    if (!VxIsFailure(result)) bar.Complete();
    bar.Close();
    if (job.misuse()) {
        err << "vandrel: " << job.detail() << " (see vandrel --help)\n";
        return kExitUsage;
    }
    if (result == kVxErrCancelled || CInterruptGuard::Requested()) {
        ReportError(err, options.output, kVxErrCancelled, "nothing written");
        return kExitInterrupted;
    }
    if (VxIsFailure(result)) {
        ReportError(err, job.failedFile(), result, job.detail());
        return kExitFailure;
    }
    if (VxIsWarning(result)) ReportError(err, job.warningFile(), result, "warning");
    if (!job.dropped().empty()) {
        std::string words;
        for (size_t i = 0; i < job.dropped().size(); ++i)
            words += (i == 0                          ? ""
                      : i + 1 == job.dropped().size() ? " and "
                                                      : ", ") +
                     job.dropped()[i];
        err << "vandrel: " << options.output << ": the format cannot hold " << words
            << "; written without " << (job.dropped().size() == 1 ? "it" : "them") << "\n";
    }
    return kExitOk;
}

int RunChart(const CToolService& service, const CChartOptions& options, std::ostream& err) {
    if (!CheckPlugIns(service, err)) return kExitFailure;
    const CFormatTable table(service.get());
    const std::string format =
        options.format.empty() ? table.FormatForPath(options.output) : options.format;
    if (format.empty()) {
        ReportError(err, options.output, kVxErrNoPlugIn,
                    "no writer for this extension; name one with --format");
        return kExitFailure;
    }
    const CTestChart chart(options.width, options.height);
    CPartialFile partial(options.output);
    const int32_t result =
        chart.Write(service.get(), partial.path(), format, options.depth, options.alpha);
    if (VxIsFailure(result)) {
        ReportError(err, options.output, result);
        return kExitFailure;
    }
    if (!partial.Commit()) {
        ReportError(err, options.output, kVxErrCodecIO, "could not be put in place");
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace vxtool
