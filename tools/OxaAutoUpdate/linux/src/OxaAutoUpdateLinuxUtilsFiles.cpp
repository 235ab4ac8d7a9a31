/** @file OxaAutoUpdateLinuxUtilsFiles.cpp  Files: tested, read for one value, unpacked. */
#include <unistd.h>

#include "OxaAutoUpdateLinuxDecide.h"
#include "OxaAutoUpdateLinuxShell.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtilsPaths.h"
#include "OxaAutoUpdateUtilsText.h"
#include "owners.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr s32         kFailure     = QVRFUTIL_FAILURE;
constexpr std::size_t kCommandSize = kPathSize;
constexpr std::size_t kValueSize   = 9;
constexpr int         kLineSize    = 256;
constexpr std::size_t kKeyBound    = 20;

/** The path without the backslashes that FolderPathCorrection put before its blanks. */
SmOwned<astring> unescaped(std::string_view path) noexcept
{
    SmOwned<astring> text = smText(static_cast<u32>(path.size() + 1));
    astring*         to   = text.get();
    for (std::size_t i = 0; to != nullptr && i < path.size(); ++i)
        if (path.substr(i, 2) != "\\ ") *to++ = path[i];
    return text;
}

/** The path that a caller means, escaped or not. A file whose name has such a backslash in it goes before. */
SmOwned<astring> asMeant(const astring* path) noexcept
{
    return ::access(path, F_OK) == 0 ? smCopy(path) : unescaped(path);
}

s32 unpack(const astring* archive, const astring* destination) noexcept
{
    if (archive == nullptr || destination == nullptr) {
        __SysDbgPrint3("[AUFPI]ExtractFile: source file or destination ddirectory is null. \n");
        return kFailure;
    }
    const SmOwned<astring> source    = asMeant(archive);
    const SmOwned<astring> directory = asMeant(destination);
    if (directory && IsDirExist(directory.get()) != 0) {
        __SysDbgPrint3("[AUFPI]ExtractFile: destination ddirectory not exists.\n");
        return kFailure;
    }
    const SmOwned<astring> from    = source ? shellQuoted(source.get()) : nullptr;
    const SmOwned<astring> to      = directory ? shellQuoted(directory.get()) : nullptr;
    const SmOwned<astring> command = smText(kCommandSize);
    // A command that does not fit is empty, which the shell would take for success.
    if (!from || !to || !command ||
        sprintf_s(command.get(), kCommandSize, "tar -zxf %s -C %s", from.get(), to.get()) < 0 ||
        runShell("ExtractFile", command.get()) != 0) {
        __SysDbgPrint3("[AUFPI]ExtractFile: Extraction of Oxa package %s failed.\n", archive);
        return kFailure;
    }
    return 0;
}

void handOver(std::string_view value, astring* destination) noexcept
{
    sprintf_s(destination, kValueSize, "%.*s", static_cast<int>(value.size()), value.data());
    __SysDbgPrint4("[AUFPI]ParseConfigFile: value :%s\n", destination);
}

s32 readValue(const astring* path, const astring* key, astring* value) noexcept
{
    if (path == nullptr || key == nullptr || value == nullptr) {
        __SysDbgPrint3("[AUFPI]ParseConfigFile :  file path or key is null.\n");
        return kFailure;
    }
    std::FILE* opened = nullptr;
    if (fopen_s(&opened, path, "re") != 0) {
        __SysDbgPrint3("[AUFPI]ParseConfigFile :  file open error.\n");
        return kFailure;
    }
    const File             file(opened);
    const std::string_view wanted(key, ::strnlen(key, kKeyBound));
    astring                line[kLineSize]{};
    while (std::fgets(line, kLineSize, file.get()) != nullptr)
        if (const auto found = configValue(line, wanted)) handOver(*found, value);
    return 0;
}

s32 readable(const astring* name) noexcept
{
    if (name == nullptr) {
        __SysDbgPrint3("[AUFPI]FileCheck :  configuaration file name is fileName = null. \n");
        return kFailure;
    }
    if (::access(name, F_OK) != 0) {
        __SysDbgPrint3("[AUFPI]FileCheck :  the File %s\t not Found. \n", name);
        return kFailure;
    }
    if (::access(name, R_OK) != 0) {
        __SysDbgPrint3("[AUFPI]FileCheck :  The File %s\t cannot be readed. \n", name);
        return kFailure;
    }
    __SysDbgPrint4("[AUFPI]FileCheck :  Success The File %s\t can be readed. \n", name);
    return 0;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 ExtractFile(astring* pSourceFile, astring* pDestDir)
{
    const qvrf::TraceScope trace("ExtractFile", qvrf::kUpdateTrace);
    return qvrf::unpack(pSourceFile, pDestDir);
}

extern "C" s32 ParseConfigFile(astring* pFilePath, astring* pKey, astring* pValue)
{
    const qvrf::TraceScope trace("ParseConfigFile", qvrf::kUpdateTrace);
    return qvrf::readValue(pFilePath, pKey, pValue);
}

extern "C" s32 FileCheck(const astring* fileName)
{
    const qvrf::TraceScope trace("FileCheck", qvrf::kUpdateTrace);
    return qvrf::readable(fileName);
}
