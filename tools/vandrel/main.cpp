// The vandrel command-line tool. For now it knows one command, "demo": it loads the plug-ins
// installed beside it, lists them, writes a small generated picture, describes it and reads it
// back line by line through the service.
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "vandrel/VandrelIF.h"

namespace {

struct CodeName {
    int32_t code;
    const char* words;
};

const CodeName kCodeNames[] = {
    {kVxErrNoFreeHandle, "no free image handle"},
    {kVxErrBadHandle, "unknown handle or missing file"},
    {kVxErrInvalidArgument, "invalid argument or request"},
    {kVxErrNoPlugIn, "no plug-in takes the file"},
    {kVxErrCreateInstance, "the plug-in could not start"},
    {kVxErrCodecOpen, "the file could not be opened"},
    {kVxErrCodecFormat, "not a valid file of its format"},
    {kVxErrCodecData, "damaged or truncated image data"},
    {kVxErrCodecTooLarge, "image dimensions too large"},
    {kVxErrCodecUnsupported, "a layout the codec cannot handle"},
    {kVxErrLineBuffer, "out of memory for line buffers"},
    {kVxErrFileAttributes, "file attributes unreadable"},
};

std::string Describe(int32_t code) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", unsigned(code));
    for (const CodeName& n : kCodeNames) {
        if (n.code == code) return std::string(n.words) + " (" + hex + ")";
    }
    return std::string("status ") + hex;
}

// <dir of the executable>/../lib/vandrel/plugins: the same in the build and the installed tree.
std::string DefaultPlugInFolder() {
    char self[PATH_MAX];
    ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return VANDREL_PLUGIN_SUBDIR;
    self[n] = 0;
    std::string dir(self);
    dir.erase(dir.rfind('/'));
    return dir + "/../" + VANDREL_PLUGIN_SUBDIR;
}

// A 64 x 48 RGB gradient: red across, green down, blue constant.
bool WriteSamplePicture(const std::string& path) {
    const int width = 64, height = 48;
    std::ofstream out(path, std::ios::binary);
    out << "P6\n" << width << " " << height << "\n255\n";
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const unsigned char rgb[3] = {(unsigned char)(x * 255 / (width - 1)),
                                          (unsigned char)(y * 255 / (height - 1)), 128};
            out.write(reinterpret_cast<const char*>(rgb), 3);
        }
    }
    return bool(out);
}

void ListPlugIns(IVandrelIF* service) {
    std::printf("reading types:  \"%s\"\n", service->GetSupportedReadingType());
    std::printf("writing types:  \"%s\"\n", service->GetSupportedWritingType());
    std::printf("extensions:     \"%s\"\n", service->GetExtensionName(nullptr));
    const char* version = service->GetDecoderVersion("PNM");
    std::printf("PNM codec:      %s\n", version != nullptr ? version : "(none loaded)");
}

bool ShowStatus(IVandrelIF* service, int32_t handle, const std::string& picture) {
    CUImageFileStatus status;
    int32_t result = service->GetFileStatus(handle, &status);
    if (result < 0) {
        std::fprintf(stderr, "vandrel: %s: %s\n", picture.c_str(), Describe(result).c_str());
        return false;
    }
    std::printf("file status:    %d x %d pixels, %d bits per pixel, %s, format %s, %d bytes\n",
                status.info.lWidth, status.info.lHeight, status.info.lColorDepth,
                status.info.strColorSpace.c_str(), status.strFormat.c_str(), status.fileInfo.lSize);
    return true;
}

// FNV-1a over the pixel bytes of each line (row padding left out).
uint32_t Checksum(uint32_t hash, const unsigned char* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i)
        hash = (hash ^ bytes[i]) * 16777619u;
    return hash;
}

// Reads the picture as 24-bit RGB lines, as a caller of the service would.
bool ReadLines(IVandrelIF* service, int32_t handle, const std::string& picture) {
    CURequest request;  // 24-bit logical RGB
    CUImageInfo info;
    int32_t result = service->BeginReadLine(handle, request, &info, nullptr);
    if (result < 0) {
        std::fprintf(stderr, "vandrel: %s: %s\n", picture.c_str(), Describe(result).c_str());
        return false;
    }
    uint32_t hash = 2166136261u;
    int32_t lines = 0;
    const size_t pixelBytes = size_t(info.lWidth) * size_t(info.lColorDepth / 8);
    for (; lines < info.lHeight; ++lines) {
        void* line = nullptr;
        result = service->ReadLine(handle, &line, nullptr);
        if (VxIsFailure(result)) break;
        hash = Checksum(hash, static_cast<const unsigned char*>(line), pixelBytes);
    }
    const int32_t ended = service->EndReadLine(handle);
    if (VxIsFailure(result) || ended < 0) {
        const int32_t code = VxIsFailure(result) ? result : ended;
        std::fprintf(stderr, "vandrel: %s: line %d: %s\n", picture.c_str(), lines,
                     Describe(code).c_str());
        return false;
    }
    std::printf("lines read:     %d of %d bits, %d bytes each, FNV-1a checksum 0x%08X\n", lines,
                info.lColorDepth, info.lRowBytes, unsigned(hash));
    return true;
}

int Demo(const std::string& plugInFolder) {
    std::printf("plug-in folder: %s\n", plugInFolder.c_str());
    IVandrelIF* service = CreateVandrel(plugInFolder.c_str());
    if (service == nullptr) {
        std::fprintf(stderr, "vandrel: the image-file service could not be created\n");
        return 1;
    }
    ListPlugIns(service);

    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        std::string(tmp != nullptr && *tmp != 0 ? tmp : "/tmp") + "/vandrel-demo-XXXXXX";
    char* folder = ::mkdtemp(&pattern[0]);
    int exitCode = 0;
    if (folder == nullptr) {
        std::fprintf(stderr, "vandrel: no temporary folder\n");
        service->Delete();
        return 1;
    }
    const std::string picture = std::string(folder) + "/gradient.ppm";
    if (!WriteSamplePicture(picture)) {
        std::fprintf(stderr, "vandrel: %s: could not be written\n", picture.c_str());
        exitCode = 1;
    } else {
        std::printf("sample picture: %s (64 x 48 RGB gradient)\n", picture.c_str());
        int32_t handle = service->GetImageHandle(picture.c_str());
        if (handle < 0) {
            std::fprintf(stderr, "vandrel: %s: %s\n", picture.c_str(), Describe(handle).c_str());
            exitCode = 1;
        } else {
            std::printf("image handle:   %d\n", handle);
            if (!ShowStatus(service, handle, picture) || !ReadLines(service, handle, picture))
                exitCode = 1;
            service->DeleteImageHandle(handle);
        }
    }
    std::remove(picture.c_str());
    ::rmdir(folder);
    service->Delete();
    return exitCode;
}

void Usage() {
    std::fprintf(stderr,
                 "usage: vandrel demo [--plugins DIR]\n"
                 "  demo   list the plug-ins, write a sample picture and read it back\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "demo") != 0) {
        Usage();
        return 2;
    }
    std::string plugIns = DefaultPlugInFolder();
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(argv[i], "--plugins") == 0 && i + 1 < argc) {
            plugIns = argv[++i];
        } else {
            Usage();
            return 2;
        }
    }
    return Demo(plugIns);
}
