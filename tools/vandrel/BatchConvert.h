// `vandrel convert IN... -o PATTERN`: many files in one call, on several worker threads. The
// library has no threads of its own and wants one service object per thread, so every worker
// has its own service, plug-in shelf and macro object, all made and released on the calling
// thread (plug-in loading is set-up work); the workers share only the list of files.
#ifndef VANDREL_TOOL_BATCHCONVERT_H
#define VANDREL_TOOL_BATCHCONVERT_H

#include <ostream>
#include <string>
#include <vector>

#include "ConvertJob.h"
#include "ConvertOptions.h"
#include "StandardInput.h"

namespace vxtool {

struct CBatchOptions {
    std::vector<std::string> inputs;  // "-" = standard input
    std::string pattern;              // "%s" = an input's name without folder and extension
    int jobs = 0;                     // 0 = the number of online CPUs
    bool progress = false;
};

// The output name of input under pattern ("%%" is a percent sign). Empty, with *problem, when
// the pattern holds another "%" sequence.
std::string OutputFor(const std::string& pattern, const std::string& input, std::string* problem);

// Empty when the folder an output goes to exists, else the error line that says it does not.
std::string MissingFolder(const std::string& output);

// One conversion with its messages (error, warning) as whole lines in *lines, file names as
// the user gave them. Answers 1, a warning, or the failing code.
int32_t ConvertOne(CConvertJob* job, const CConvertOptions& options, const CStandardInput& input,
                   std::string* lines);

// Exit status: 0 when every file was written, 1 when any failed, 2 for a usage error, 128 +
// the signal when interrupted.
int RunBatch(const std::string& plugInFolder, const CConvertOptions& options,
             const CBatchOptions& batch, std::ostream& err);

}  // namespace vxtool

#endif
