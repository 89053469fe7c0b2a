// What every codec plug-in of this tree shares: the prototype's selection answers (type texts,
// extension list, file signature), the instance's file name and request, and the camera
// information read from the file's metadata. A codec derives from it and supplies the
// signature test, the status and the line operations.
#ifndef VANDREL_PLUGINS_PLUGINBASE_H
#define VANDREL_PLUGINS_PLUGINBASE_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "TagDirectory.h"
#include "vandrel/PlugIn.h"
#include "vandrel/Records.h"
#include "vandrel/Status.h"

namespace vxcodec {

constexpr size_t kMaxSignatureSize = 16;

struct CodecIdentity {
    const char* readingType;  // "JPEG"
    const char* writingType;  // null when the codec does not write
    const char* extensions;   // ".jpg;.jpeg;JPEG;" : extensions and type codes, ';'-terminated
    size_t signatureSize;     // leading bytes HasSignature needs, at most kMaxSignatureSize
};

class CPlugInBase : public IPlugIn {
public:
    explicit CPlugInBase(const CodecIdentity& identity);

    /* 0 */ void Delete() override { delete this; }
    /* 2 */ void Initialize(const char* plugInFolder) override;
    /* 3 */ int32_t IsSupportedFile(const char* fileName) override;
    /* 4 */ int32_t IsSupportedFormat(const char* formatName) override;
    /* 5 */ const char* GetReadingType() override { return m_identity.readingType; }
    /* 6 */ const char* GetWritingType() override { return m_identity.writingType; }
    /* 7 */ void SetFileName(const char* fileName) override { m_fileName = fileName; }
    /* 8 */ const char* GetFileName() override { return m_fileName.c_str(); }
    /* 9 */ int32_t IsReady() override { return 1; }
    /* 10 */ int32_t GetProperty(int32_t, void*) override { return 0; }
    /* 11 */ int32_t SetProperty(int32_t, const void*) override { return 0; }
    /* 13 */ int32_t GetCameraInfo(CUCameraInfo* info) override;
    /* 14 */ int32_t SetRequest(const CURequest& request, const CUImageFileStatus& status) override;
    /* 15 */ int32_t AddExtensionName(const char* ext) override;
    /* 16 */ const char* GetExtensionName() override { return m_extensions.c_str(); }
    /* 18 */ int32_t Reserved18() override { return 0; }
    /* 24 */ IUTagDB* CreateTagDB() override;

protected:
    ~CPlugInBase() override = default;

    // An instance takes the prototype's folder and its extension list, added entries included.
    void InheritSettings(const CPlugInBase& prototype);
    // 1 when the file starts with this codec's signature, 0 when it starts otherwise, -1 when
    // it cannot be read that far.
    int32_t SignatureVerdict(const char* fileName) const;
    bool NameMatchesExtensions(const char* fileName) const;
    // Hands every property entry of a request's parameter list (CodecProperties.h) to
    // SetProperty; 1, or the first refusal.
    int32_t ApplyPropertyEntries(const CUtilParamArray* list);

    // True when the leading identity.signatureSize bytes of a file are this codec's.
    virtual bool HasSignature(const unsigned char* head) const = 0;
    // Only the PNG codec can inflate a compressed profile.
    virtual PngProfileReader ProfileReader() const { return nullptr; }

    const char* FileName() const { return m_fileName.c_str(); }
    const CURequest& Request() const { return m_request; }
    // Decoding: the caller does not want the alpha plane. Encoding: the caller supplies one.
    bool SkipAlpha() const { return m_request.AlphaSkip() != 0; }
    bool WriteAlpha() const { return m_request.HasAlphaSource() != 0; }
    // The status fields every codec fills the same way for an RGB main plane and an optional
    // alpha plane of sampleBits per sample.
    static void DescribeImage(CUImageFileStatus* status, const char* format, int32_t width,
                              int32_t height, int32_t sampleBits, bool alpha,
                              int32_t storedBitsPerPixel);

private:
    CodecIdentity m_identity;
    ministring m_extensions;
    ministring m_folder;
    ministring m_fileName;
    CURequest m_request;
    CUImageFileStatus m_status;
    std::unique_ptr<CTagDirectory> m_tagDB;
};

}  // namespace vxcodec

#endif
