#include "BatchConvert.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <numeric>
#include <set>
#include <sstream>
#include <thread>
#include <utility>

#include "BatchLog.h"
#include "Commands.h"
#include "Interrupt.h"
#include "PlugInShelf.h"
#include "ProgressBar.h"
#include "ToolService.h"

namespace vxtool {
namespace {

constexpr size_t kNamedFailures = 10;  // the summary names at most these

// A worker's own objects. The bar draws nothing; it is the cancelling callback.
struct Worker {
    explicit Worker(const std::string& folder)
        : service(folder), shelf(folder), callback(nullptr, false), job(service.get(), &callback) {
        job.SetPlugInShelf(&shelf);
    }
    CToolService service;
    CPlugInShelf shelf;
    CProgressBar callback;
    CConvertJob job;
};

std::string BaseName(const std::string& path) {
    if (path == "-") return "stdin";
    const size_t slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0) name.erase(dot);
    return name;
}

int OnlineCpus() {
    const long n = ::sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? int(n) : 1;
}

// "vandrel: OUT: the format cannot hold the ICC profile and the XMP packet; written without
// them"
std::string DroppedLine(const std::string& output, const std::vector<std::string>& dropped) {
    std::string words;
    for (size_t i = 0; i < dropped.size(); ++i)
        words += (i == 0 ? "" : i + 1 == dropped.size() ? " and " : ", ") + dropped[i];
    return "vandrel: " + output + ": the format cannot hold " + words + "; written without " +
           (dropped.size() == 1 ? "it" : "them") + "\n";
}

std::string Summary(size_t failed, size_t total, const std::vector<std::string>& names) {
    std::ostringstream out;
    out << "vandrel: " << failed << " of " << total << " files failed:";
    for (size_t i = 0; i < names.size() && i < kNamedFailures; ++i)
        out << " " << names[i];
    if (names.size() > kNamedFailures) out << " ...";
    out << "\n";
    return out.str();
}

// With several workers, the biggest files start first, so the batch does not end with one
// worker still busy on a large file while the others idle. Standard input counts as large.
std::vector<size_t> LargestFirst(const std::vector<std::string>& inputs) {
    std::vector<std::pair<int64_t, size_t>> sized;
    for (size_t i = 0; i < inputs.size(); ++i) {
        struct stat st;
        const bool known = inputs[i] != "-" && ::stat(inputs[i].c_str(), &st) == 0;
        sized.emplace_back(known ? int64_t(st.st_size) : INT64_MAX, i);
    }
    std::stable_sort(sized.begin(), sized.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<size_t> order;
    for (const auto& entry : sized)
        order.push_back(entry.second);
    return order;
}

std::vector<size_t> InputOrder(size_t total) {
    std::vector<size_t> order(total);
    std::iota(order.begin(), order.end(), size_t(0));
    return order;
}

// Checks the whole batch before any work: names, the single standard input, clashes.
std::string PlanOutputs(const CConvertOptions& options, const CBatchOptions& batch,
                        std::vector<std::string>* outputs) {
    if (std::count(batch.inputs.begin(), batch.inputs.end(), "-") > 1)
        return "standard input (-) can be read once only";
    if (batch.pattern == "-" && batch.inputs.size() > 1)
        return "-o -: only one input can go to standard output";
    if (batch.pattern == "-" && options.format.empty())
        return "-o -: name the format to write with --format";
    if (!options.alphaOutput.empty() && batch.inputs.size() > 1) return "--alpha takes one input";
    std::set<std::string> seen;
    for (const std::string& input : batch.inputs) {
        std::string problem;
        const std::string output = OutputFor(batch.pattern, input, &problem);
        if (!problem.empty()) return problem;
        if (!seen.insert(output).second)
            return "-o " + batch.pattern + ": two inputs would both write " + output +
                   " (use %s in the pattern)";
        outputs->push_back(output);
    }
    return "";
}

}  // namespace

std::string OutputFor(const std::string& pattern, const std::string& input, std::string* problem) {
    if (pattern == "-") return pattern;
    std::string output;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            output += pattern[i];
            continue;
        }
        const char next = i + 1 < pattern.size() ? pattern[i + 1] : 0;
        if (next == 's') {
            output += BaseName(input);
        } else if (next == '%') {
            output += '%';
        } else {
            *problem = "-o " + pattern + ": only %s and %% may follow a %";
            return "";
        }
        ++i;
    }
    return output;
}

std::string MissingFolder(const std::string& output) {
    if (output == "-") return "";
    const size_t slash = output.rfind('/');
    if (slash == std::string::npos) return "";
    const std::string folder = slash == 0 ? "/" : output.substr(0, slash);
    struct stat st;
    if (::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return "";
    std::ostringstream line;
    ReportError(line, output, kVxErrCodecOpen, "the folder " + folder + " does not exist");
    return line.str();
}

int32_t ConvertOne(CConvertJob* job, const CConvertOptions& options, const CStandardInput& input,
                   std::string* lines) {
    const std::string missing = MissingFolder(options.output);
    if (!missing.empty()) {
        *lines = missing;
        return kVxErrCodecOpen;
    }
    const int32_t result = job->Run(options);
    std::ostringstream out;
    if (result == kVxErrCancelled || CInterruptGuard::Requested()) return kVxErrCancelled;
    if (job->misuse())
        out << "vandrel: " << job->detail() << " (see vandrel --help)\n";
    else if (VxIsFailure(result))
        ReportError(out, job->failedFile(), result, job->detail());
    if (VxIsWarning(result)) ReportError(out, job->warningFile(), result, "warning");
    if (!VxIsFailure(result) && !job->dropped().empty())
        out << DroppedLine(options.output, job->dropped());
    *lines = input.Shown(out.str());
    return result;
}

int RunBatch(const std::string& plugInFolder, const CConvertOptions& options,
             const CBatchOptions& batch, std::ostream& err) {
    std::vector<std::string> outputs;
    const std::string problem = PlanOutputs(options, batch, &outputs);
    if (!problem.empty()) {
        err << "vandrel: " << problem << "\n";
        return kExitUsage;
    }
    CInterruptGuard interrupts;
    CStandardInput input;
    const bool readsStdin =
        std::find(batch.inputs.begin(), batch.inputs.end(), "-") != batch.inputs.end();
    if (readsStdin && !input.Take()) {
        ReportError(err, "-", kVxErrCodecIO, "standard input could not be copied");
        return kExitFailure;
    }
    const size_t total = batch.inputs.size();
    const int wanted = batch.jobs > 0 ? batch.jobs : OnlineCpus();
    const size_t count = std::min({size_t(wanted), total, size_t(CInterruptGuard::kMostWatchers)});
    std::unique_ptr<Worker> first(new Worker(plugInFolder));
    if (!first->service.HasPlugIns()) {
        ReportError(err, plugInFolder, kVxErrNoPlugIn, "no plug-ins found in this folder");
        return kExitFailure;
    }

    CBatchLog log(err, total, batch.progress && ::isatty(STDERR_FILENO) == 1);
    const std::vector<size_t> order = count > 1 ? LargestFirst(batch.inputs) : InputOrder(total);
    std::atomic<size_t> next{0};
    std::vector<int32_t> results(total, kVxErrCancelled);
    auto work = [&](Worker* worker) {
        for (size_t n = next++; n < total && !CInterruptGuard::Requested(); n = next++) {
            const size_t i = order[n];
            CConvertOptions one = options;
            one.input = batch.inputs[i] == "-" ? input.path() : batch.inputs[i];
            one.output = outputs[i];
            std::string lines;
            results[i] = ConvertOne(&worker->job, one, input, &lines);
            log.Report(lines, results[i] != kVxErrCancelled);
        }
    };
    // The other workers load their plug-ins on their own threads, so setting up N workers costs
    // the time of one.
    std::vector<std::thread> threads;
    for (size_t i = 1; i < count; ++i)
        threads.emplace_back([&] {
            Worker own(plugInFolder);
            if (own.service.HasPlugIns()) work(&own);
        });
    work(first.get());
    for (std::thread& t : threads)
        t.join();
    log.Close();
    first.reset();

    std::vector<std::string> failed;
    size_t written = 0;
    for (size_t i = 0; i < total; ++i) {
        if (VxIsFailure(results[i]) && results[i] != kVxErrCancelled)
            failed.push_back(batch.inputs[i]);
        written += VxIsFailure(results[i]) ? 0 : 1;
    }
    if (CInterruptGuard::Requested()) {
        err << "vandrel: interrupted: " << written << " of " << total
            << " files written, nothing partial left\n";
        return CInterruptGuard::ExitStatus();
    }
    if (failed.empty()) return kExitOk;
    err << Summary(failed.size(), total, failed);
    return kExitFailure;
}

}  // namespace vxtool
