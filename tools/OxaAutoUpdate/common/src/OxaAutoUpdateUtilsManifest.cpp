/** @file OxaAutoUpdateUtilsManifest.cpp  The update package's manifest: which files belong to the package. */
#include "OxaAutoUpdateUtilsManifest.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsText.h"
#include "qvisocppsecurecompat.h"
#include "trace.h"

namespace qvrf {

std::string_view trimmed(std::string_view text) noexcept
{
    const auto blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!text.empty() && blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && blank(text.back())) text.remove_suffix(1);
    return text;
}

namespace {

constexpr s32 kNoMemory = 9;

constexpr u32         kLineSize  = 512;
constexpr std::size_t kTextBound = 512;

constexpr const char* op = "pasrseSHA256File";

/** Cuts the text up to the next of @p delimiter off @p rest, passing over those that come first. */
std::string_view cutToken(std::string_view& rest, char delimiter) noexcept
{
    rest.remove_prefix(std::min(rest.find_first_not_of(delimiter), rest.size()));
    const std::string_view token = rest.substr(0, rest.find(delimiter));
    rest.remove_prefix(std::min(token.size() + 1, rest.size()));
    return token;
}

struct Package {
    const char*      mark;
    std::string_view ManifestLine::*named;
};
constexpr Package kPackages[] = {
    {"QD-Oxa-Zelmar-Web-LX", &ManifestLine::linuxPackage},
    {"QD-Oxa-Zelmar-Web-X64", &ManifestLine::windowsPackage},
    {"TorvoSvcMod", &ManifestLine::windowsNanoPackage},
};

/** A field of the caller's record. Only copies of its own are released: what the caller left there is the caller's. */
class Field {
public:
    Field(astring*& place, const char* name) noexcept : place_(place), name_(name) {}

    bool store(SmOwned<astring> text) noexcept
    {
        if (!text) {
            __SysDbgPrint3("[AUFPI]%s: failed to alloc memory pOXAPloxPackage->%s = null\n", op, name_);
            return false;
        }
        __SysDbgPrint4("[AUFPI]%s: Linux sign file name %s.\n", op, text.get());  // the one wording for every field
        if (ours_) SMFreeMem(place_);
        place_ = text.release();
        ours_  = true;
        return true;
    }

private:
    astring*&   place_;
    const char* name_;
    bool        ours_ = false;
};

class Record {
public:
    explicit Record(StructOxaPloxPackage& record) noexcept
        : linux_(record.pLinuxUpdatePkg, "pLinuxUpdatePkg"),
          sign_(record.pLinuxSignFile, "pLinuxSignFile"),
          windows_(record.pWindowsUpdatePkg, "pWindowsUpdatePkg"),
          nano_(record.pWindowsNanoUpdatePkg, "pWindowsNanoUpdatePkg")
    {
    }

    bool store(const ManifestLine& line) noexcept
    {
        return (line.linuxPackage.empty() ||
                (linux_.store(smCopy(line.linuxPackage)) && storeSign(line.linuxPackage))) &&
               (line.windowsPackage.empty() || windows_.store(smCopy(line.windowsPackage))) &&
               (line.windowsNanoPackage.empty() || nano_.store(smCopy(line.windowsNanoPackage)));
    }

private:
    bool storeSign(std::string_view package) noexcept
    {
        return sign_.store(smFormat("%.*s.sign", static_cast<int>(package.size()), package.data()));
    }

    Field linux_, sign_, windows_, nano_;
};

s32 readManifest(const astring* path, StructOxaPloxPackage* package) noexcept
{
    std::FILE* opened = nullptr;
    if (package == nullptr || fopen_s(&opened, path, "re") != 0) {
        __SysDbgPrint3("[AUFPI]%s: fopen failed for sha_file.\n", op);
        return kNoMemory;
    }
    const File             file(opened);
    const SmOwned<astring> line = smText(kLineSize);
    if (!line) {
        __SysDbgPrint3("[AUFPI]%s: Malloc failed for line.\n", op);
        return kNoMemory;
    }
    Record record(*package);
    while (std::fgets(line.get(), kLineSize, file.get()) != nullptr)
        if (!record.store(manifestLine(line.get()))) return kNoMemory;
    return 0;
}

}  // namespace

ManifestLine manifestLine(std::string_view line) noexcept
{
    ManifestLine names;
    if (cutToken(line, ' ').empty()) return names;  // the digest: the signature vouches for the files, not this list
    while (!line.empty()) {
        const std::string_view token = cutToken(line, '"');
        for (const Package& package : kPackages)
            if (token.find(package.mark) != token.npos) names.*package.named = trimmed(token);
    }
    return names;
}

}  // namespace qvrf

extern "C" s32 pasrseSHA256File(astring* pSHA256File, StructOxaPloxPackage* pOXAPloxPackage)
{
    const qvrf::TraceScope trace(qvrf::op, qvrf::kUpdateTrace);
    return qvrf::readManifest(pSHA256File, pOXAPloxPackage);
}

extern "C" void trim(char* pStr)
{
    const qvrf::TraceScope trace("trim", qvrf::kUpdateTrace);
    if (pStr == nullptr) return;
    const std::string_view kept = qvrf::trimmed({pStr, ::strnlen(pStr, qvrf::kTextBound)});
    std::memmove(pStr, kept.data(), kept.size());
    pStr[kept.size()] = '\0';
}
