// `vandrel convert`: one image file to another through the macro object, turned upright from
// its Exif orientation, resized, rotated and converted on the way as the options say, with its
// ICC profile, Exif block and XMP packet carried over. Outputs appear only when complete.
#ifndef VANDREL_TOOL_CONVERTJOB_H
#define VANDREL_TOOL_CONVERTJOB_H

#include <cstdint>
#include <string>
#include <vector>

#include "ConvertOptions.h"
#include "PlugInShelf.h"
#include "vandrel/MacroCallback.h"
#include "vandrel/MessageProc.h"
#include "vandrel/UtilContainerIF.h"
#include "vandrel/UtilMacroIF.h"
#include "vandrel/VandrelIF.h"

namespace vxtool {

class CConvertJob {
public:
    // callback may be null (no progress, no cancelling).
    CConvertJob(IVandrelIF* service, IMacroCallback* callback);
    // The plug-ins the job asks for metadata and writer settings, loaded from the service's
    // folder; without them nothing is carried or turned and writer options are refused.
    void SetPlugInShelf(const CPlugInShelf* shelf) { m_shelf = shelf; }
    ~CConvertJob();
    CConvertJob(const CConvertJob&) = delete;
    CConvertJob& operator=(const CConvertJob&) = delete;

    // 1, the first warning of a conversion that went through (recoverable damage in the
    // source), or the code of the first failure; failedFile() and detail() then say where and
    // why, warningFile() which file a warning concerns.
    int32_t Run(const CConvertOptions& options);

    const std::string& failedFile() const { return m_failedFile; }
    const std::string& warningFile() const { return m_warningFile; }
    // Extra words for failures the codes alone do not explain; may be empty.
    const std::string& detail() const { return m_detail; }
    // True when the options do not fit the job (an option the writer has no use for); detail()
    // then says what is wrong and nothing was read or written.
    bool misuse() const { return m_misuse; }
    // Metadata the output could not take, in words ("the ICC profile"); empty when all went.
    const std::vector<std::string>& dropped() const { return m_dropped; }

    // The output size for a source of this size: FitSize over the rotated bounding box when
    // the options rotate, so that one side alone keeps the aspect ratio of what is written.
    static void OutputSize(const CConvertOptions& options, int32_t sourceWidth,
                           int32_t sourceHeight, int32_t* width, int32_t* height);

private:
    struct Plan;

    // Keeps the first damage notice (message 3) a decoder sends during the job.
    class DamageListener : public IMessageProc {
    public:
        int32_t MessageProc(int message, void* data) override {
            if (message == 3 && data != nullptr && code == 1) code = *static_cast<int32_t*>(data);
            return 1;
        }
        int32_t code = 1;
    };

    int32_t Fail(const std::string& file, int32_t code, const std::string& detail = "");
    // Keeps the first warning; answers code.
    int32_t Note(const std::string& file, int32_t code);
    int32_t RunPlanned(const CConvertOptions& options);
    int32_t Prepare(const CConvertOptions& options, Plan* plan);
    int32_t DecodeWithOwnReader(const std::string& path, const CURequest& decode,
                                IUtilContainerIF* image, IUtilContainerIF* alpha);
    void PlanMetadata(Plan* plan);
    int32_t FinishLines(const Plan& plan, IUtilContainerIF* image, IUtilContainerIF* alpha);
    int32_t ConvertFileToFile(const Plan& plan, const std::string& partial);
    int32_t ConvertThroughContainers(const Plan& plan, const std::string& partial,
                                     const std::string& alphaPartial);
    int32_t Encode(const Plan& plan, const std::string& path, IUtilContainerIF* image,
                   IUtilContainerIF* alpha);
    int32_t EncodeGrey(const Plan& plan, const std::string& path, IUtilContainerIF* image,
                       IUtilContainerIF* alpha);
    int32_t EncodeAlpha(const Plan& plan, const std::string& path, IUtilContainerIF* alpha);

    IVandrelIF* m_service;
    IMacroCallback* m_callback;
    const CPlugInShelf* m_shelf = nullptr;
    DamageListener m_damage;
    bool m_misuse = false;
    std::vector<std::string> m_dropped;
    IUtilMacroIF* m_macro = nullptr;
    std::string m_failedFile;
    std::string m_detail;
    int32_t m_warning = 1;
    std::string m_warningFile;
};

// Writes an 8- or 16-bit container as a grey file of format, with an alpha container of the
// same depth when one is given, and the writer properties of a parameter list. The service
// converts colour lines only, so these lines go to the writer through the line interface
// without conversion. 1 or the first failing code.
int32_t WriteGreyFile(IVandrelIF* service, const std::string& path, const std::string& format,
                      const IUtilContainerIF* grey, const IUtilContainerIF* alpha = nullptr,
                      CUtilParamArray* properties = nullptr);

// Copies a 24- or 48-bit RGB container whose pixels are all grey (R = G = B) into a new 8- or
// 16-bit container. Null, with *code set, when a pixel has colour or memory runs out.
IUtilContainerIF* GreyCopy(const IUtilContainerIF* rgb, int32_t* code);

}  // namespace vxtool

#endif
