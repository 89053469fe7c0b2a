// The tool's subcommands. Each prints its answer on out, its failures as one line each on err
// ("vandrel: FILE: words (0x...)"), and returns the process exit status.
#ifndef VANDREL_TOOL_COMMANDS_H
#define VANDREL_TOOL_COMMANDS_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "ConvertOptions.h"
#include "ToolService.h"

namespace vxtool {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// "vandrel: FILE: detail: words (0x...)"
void ReportError(std::ostream& err, const std::string& file, int32_t code,
                 const std::string& detail = "");

int RunFormats(const CToolService& service, bool json, std::ostream& out, std::ostream& err);
int RunInfo(const CToolService& service, const std::vector<std::string>& files, bool json,
            std::ostream& out, std::ostream& err);
int RunTags(const CToolService& service, const std::string& file,
            const std::vector<std::string>& tags, bool all, bool json, std::ostream& out,
            std::ostream& err);
// progress: draw a bar on stderr when it is a terminal. Ctrl-C cancels. "-" as the input reads
// standard input, as the output writes standard output.
int RunConvert(const CToolService& service, const CConvertOptions& options, bool progress,
               std::ostream& err);

struct CChartOptions {
    std::string output;
    std::string format;  // empty = from the extension
    int32_t width = 640;
    int32_t height = 480;
    int32_t depth = 24;
    bool alpha = false;
};
int RunChart(const CToolService& service, const CChartOptions& options, std::ostream& err);

}  // namespace vxtool

#endif
