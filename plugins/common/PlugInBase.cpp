#include "PlugInBase.h"

#include <new>

#include "CodecSupport.h"
#include "vandrel/CodecProperties.h"

namespace vxcodec {

CPlugInBase::CPlugInBase(const CodecIdentity& identity)
    : m_identity(identity), m_extensions(identity.extensions) {}

void CPlugInBase::Initialize(const char* plugInFolder) {
    m_folder = plugInFolder;
}

void CPlugInBase::InheritSettings(const CPlugInBase& prototype) {
    m_folder = prototype.m_folder;
    m_extensions = prototype.m_extensions;
}

int32_t CPlugInBase::SignatureVerdict(const char* fileName) const {
    unsigned char head[kMaxSignatureSize];
    const size_t wanted = m_identity.signatureSize;
    const long got = ReadFileHead(fileName, head, wanted);
    if (got != long(wanted)) return -1;
    return HasSignature(head) ? 1 : 0;
}

bool CPlugInBase::NameMatchesExtensions(const char* fileName) const {
    return MatchesExtensionList(fileName, m_extensions);
}

// The signature decides whenever the file can be read that far; the name decides only for
// files too short or unreadable to tell, so a PNG saved as ".jpg" still finds the PNG codec.
int32_t CPlugInBase::IsSupportedFile(const char* fileName) {
    if (fileName == nullptr) return 0;
    const int32_t verdict = SignatureVerdict(fileName);
    if (verdict >= 0) return verdict;
    return NameMatchesExtensions(fileName) ? 1 : 0;
}

int32_t CPlugInBase::IsSupportedFormat(const char* formatName) {
    if (formatName == nullptr) return 0;
    if (__stricmp(formatName, m_identity.readingType) == 0) return 1;
    if (m_identity.writingType != nullptr && __stricmp(formatName, m_identity.writingType) == 0)
        return 1;
    return NamesListEntry(formatName, m_extensions) ? 1 : 0;
}

int32_t CPlugInBase::GetCameraInfo(CUCameraInfo* info) {
    if (info == nullptr) return kVxErrInvalidArgument;
    try {
        if (!m_tagDB) m_tagDB.reset(new CTagDirectory(ProfileReader()));
    } catch (const std::bad_alloc&) {
        return kVxErrCodecMemory;
    }
    int32_t loaded = m_tagDB->Load(m_fileName);
    if (loaded < 0) return loaded;
    *info = CUCameraInfo();
    m_tagDB->FillCameraInfo(info);
    info->pTagDB = m_tagDB->Empty() ? nullptr : m_tagDB.get();
    return 1;
}

int32_t CPlugInBase::SetRequest(const CURequest& request, const CUImageFileStatus& status) {
    m_request = request;
    m_status = status;
    return ApplyPropertyEntries(request.pParamList);
}

int32_t CPlugInBase::ApplyPropertyEntries(const CUtilParamArray* list) {
    if (list == nullptr) return 1;
    for (int32_t i = 0; i < list->Count(); ++i) {
        const CKeyTypeValue* entry = list->At(i);
        const void* value = VxPropertyValue(*entry);
        if (value == nullptr) continue;
        // An unknown property (0) is another plug-in's business; a refused value is the
        // caller's mistake and stops the request.
        const int32_t result = SetProperty(entry->lType, value);
        if (result < 0) return result;
    }
    return 1;
}

int32_t CPlugInBase::AddExtensionName(const char* ext) {
    if (ext == nullptr || *ext == 0) return kVxErrInvalidArgument;
    size_t length = std::strlen(ext);
    bool terminated = ext[length - 1] == ';';
    if (m_extensions.size() + length + (terminated ? 0 : 1) >= size_t(ministring::kCapacity))
        return kVxErrInvalidArgument;
    m_extensions.append(ext);
    if (!terminated) m_extensions.append(";");
    return 1;
}

IUTagDB* CPlugInBase::CreateTagDB() {
    return new (std::nothrow) CTagDirectory(ProfileReader());
}

void CPlugInBase::DescribeImage(CUImageFileStatus* status, const char* format, int32_t width,
                                int32_t height, int32_t sampleBits, bool alpha,
                                int32_t storedBitsPerPixel) {
    status->info.lWidth = width;
    status->info.lHeight = height;
    status->info.lColorDepth = sampleBits * 3;
    status->info.lRowBytes = VxPaddedRowBytes(width, sampleBits * 3);
    status->info.bNative = 0;
    status->info.strColorSpace = "RGB";
    status->info2.lWidth = width;
    status->info2.lHeight = height;
    status->info2.lColorDepth = alpha ? sampleBits : 0;
    status->info2.lRowBytes = alpha ? VxPaddedRowBytes(width, sampleBits) : 0;
    status->info2.bNative = 0;
    status->info2.strColorSpace = "RGB";
    status->strFormat = format;
    status->lValue1 = storedBitsPerPixel;
}

}  // namespace vxcodec
