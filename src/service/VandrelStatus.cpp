// What a file holds before it is read: the file-level facts, the codec's description of its
// images (cached per handle while the file stays the same), and camera and colour information.
#include <cstring>

#include "metadata/ColorMetadata.h"
#include "platform/OSLib.h"
#include "service/Vandrel.h"
#include "vandrel/TagSearch.h"
#include "vandrel/Variant.h"

namespace {

// Tags read for the file information, in the order of the search.
constexpr unsigned short kOrientationTag = 0x0112;
constexpr unsigned short kDateTimeTag = 0x0132;
constexpr unsigned short kDateTimeOriginalTag = 0x9003;
constexpr unsigned short kDateTimeDigitizedTag = 0x9004;
enum { kOrientation, kDateTime, kDateTimeOriginal, kDateTimeDigitized, kSearchedTags };

// "YYYY:MM:DD HH:MM:SS"
constexpr size_t kExifDateLength = 19;

// Colour classification of GetCameraInfo: where the answer came from and what it is.
enum ColorSource {
    kSourceNone = 0,
    kSourceCameraMode = 1,
    kSourceCamera = 2,
    kSourceJfifIcc = 3,
    kSourceTiffIcc = 4
};
enum ColorResult { kResultUnknown = 0, kResultSRGB = 1, kResult2 = 2, kResult3 = 3, kResult4 = 4 };

bool Present(const CUtilVariant& value) {
    return value.type() != CUtilVariant::kEmpty;
}

// The shooting time: the original's date, else the digitising date, else the file's date.
const CUtilVariant* ShootingDate(const CUtilVariant* values) {
    for (int index : {kDateTimeOriginal, kDateTimeDigitized, kDateTime}) {
        if (Present(values[index])) return &values[index];
    }
    return nullptr;
}

// Camera data names its colour space with a code; 2 and 4 are deliberately swapped here.
int32_t ResultOfCameraCode(int32_t code, IUTagDB* db) {
    switch (code) {
        case 2:
            return kResult4;
        case 3:
            return kResult3;
        case 4:
            return kResult2;
        default:
            return IsEXIFsRGB(db) ? kResultSRGB : kResultUnknown;
    }
}

void ClassifyColor(CUCameraInfo* info) {
    IUTagDB* db = info->pTagDB;
    if (info->bCameraData != 0) {
        info->lColorSource = info->lCameraMode == 1 ? kSourceCameraMode : kSourceCamera;
        info->lColorResult = ResultOfCameraCode(info->lColorCode, db);
    } else if (info->bColorFlag1 == 1) {
        info->lColorSource = kSourceNone;
        info->lColorResult = kResult4;
    } else if (GetTiffICCProfile(db, nullptr) > 0) {
        info->lColorSource = kSourceTiffIcc;
        info->lColorResult = kResult4;
    } else if (GetJfifICCProfile(db, nullptr) > 0) {
        info->lColorSource = kSourceJfifIcc;
        info->lColorResult = kResult4;
    } else if (info->bColorFlag2 == 1) {
        info->lColorSource = kSourceNone;
        info->lColorResult = kResult3;
    } else if (IsEXIFsRGB(db)) {
        info->lColorSource = kSourceNone;
        info->lColorResult = kResultSRGB;
    }
}

}  // namespace

int32_t CVandrel::GetFileInfo(const char* fileName, CUFileInfo* info) {
    if (info == nullptr) return kVxErrInvalidArgument;
    OSLib::_VxFstat st;
    if (OSLib::VxFgetstat(fileName, &st) != 1) return kVxErrFileAttributes;
    info->lCreateTime = st.lCreateTime;
    info->lAccessTime = st.lAccessTime != 0 ? st.lAccessTime : st.lModifyTime;
    info->lModifyTime = st.lModifyTime;
    info->lSize = int32_t(st.lSize);
    info->wPermissions = st.wPermissions;

    static const unsigned short kTags[kSearchedTags] = {
        kOrientationTag, kDateTimeTag, kDateTimeOriginalTag, kDateTimeDigitizedTag};
    CUtilVariant values[kSearchedTags];
    if (FastTagSearch(fileName, kTags, kSearchedTags, values) >= 1) {
        if (Present(values[kOrientation]))
            info->wOrientation = uint16_t(values[kOrientation].uintAt(0));
        const CUtilVariant* date = ShootingDate(values);
        if (date != nullptr && std::strlen(date->text()) == kExifDateLength)
            OSLib::VxFstrtotime(date->text(), &info->lShootingTime);
    }
    return kVxOk;
}

int32_t CVandrel::GetFileStatus(const char* fileName, CUImageFileStatus* status) {
    const int32_t handle = GetImageHandle(fileName);
    if (handle < 0) return handle;
    const int32_t result = GetFileStatus(handle, status);
    DeleteImageHandle(handle);
    return result;
}

int32_t CVandrel::GetFileStatus(int32_t handle, CUImageFileStatus* status) {
    CriticalSection guard(pCS);
    IPlugIn* instance = GetPluginObj(handle);
    if (instance == nullptr) return kVxErrBadHandle;
    if (status == nullptr) return kVxErrInvalidArgument;
    CParam& cached = mapParam.find(handle)->second;

    CUFileInfo fileInfo;
    // A file whose attributes cannot be read has no version to compare: the codec is asked.
    // Comparing anyway would match the empty information against a handle's empty cache and
    // answer an empty status as success.
    const bool known = GetFileInfo(instance->GetFileName(), &fileInfo) == 1;
    status->fileInfo = fileInfo;
    if (known && fileInfo.SameVersionAs(cached.status.fileInfo)) {
        *status = cached.status;
        return kVxOk;
    }

    const int32_t result = instance->GetFileStatus(status);
    if (result < 0) return result;
    CUImageInfo& main = status->info;
    main.lRowBytes = VxPaddedRowBytes(main.lWidth, main.lColorDepth);
    CUImageInfo& third = status->info3;
    if (third.lWidth > 0 && third.lHeight > 0)
        third.lRowBytes = VxPaddedRowBytes(third.lWidth, third.lColorDepth);
    cached.status = *status;
    return kVxOk;
}

int32_t CVandrel::GetCameraInfo(const char* fileName, CUCameraInfo* info) {
    const int32_t handle = GetImageHandle(fileName);
    if (handle < 0) return handle;
    const int32_t result = GetCameraInfo(handle, info);
    DeleteImageHandle(handle);
    return result;
}

int32_t CVandrel::GetCameraInfo(int32_t handle, CUCameraInfo* info) {
    IPlugIn* instance = GetPluginObj(handle);
    if (instance == nullptr) return kVxErrBadHandle;
    if (info == nullptr) return kVxErrInvalidArgument;
    const int32_t result = instance->GetCameraInfo(info);
    if (result != 1) return result;
    info->lColorResult = kResultUnknown;
    info->lColorSource = kSourceNone;
    if (info->pTagDB != nullptr) ClassifyColor(info);
    return kVxOk;
}
