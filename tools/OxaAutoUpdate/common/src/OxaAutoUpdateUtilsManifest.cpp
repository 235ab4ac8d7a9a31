/** @file OxaAutoUpdateUtilsManifest.cpp  The update package's manifest: which files belong to the package. */
#include <cctype>
#include <cstring>
#include <string_view>

#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsText.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr u32         kLineSize  = 512;
constexpr std::size_t kTextBound = 512;

constexpr const char* op = "pasrseSHA256File";

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

bool names(const astring* token, const char* package) noexcept
{
    return std::strstr(token, package) != nullptr;
}

class Record {
public:
    explicit Record(StructOxaPloxPackage& record) noexcept
        : linux_(record.pLinuxUpdatePkg, "pLinuxUpdatePkg"),
          sign_(record.pLinuxSignFile, "pLinuxSignFile"),
          windows_(record.pWindowsUpdatePkg, "pWindowsUpdatePkg"),
          nano_(record.pWindowsNanoUpdatePkg, "pWindowsNanoUpdatePkg")
    {
    }

    /** The digest that begins a line is passed over: the signature vouches for the files, not this list. */
    bool storeLine(astring* line) noexcept
    {
        astring* context = nullptr;
        if (strtok_s(line, " ", &context) == nullptr) return true;
        while (astring* const token = strtok_s(nullptr, "\"", &context))
            if (!storeToken(token)) return false;
        return true;
    }

private:
    /** A token counts for every field whose package it holds the name of. */
    bool storeToken(astring* token) noexcept
    {
        return (!names(token, "QD-Oxa-Zelmar-Web-LX") ||
                (store(linux_, token) && sign_.store(smFormat("%s.sign", token)))) &&
               (!names(token, "QD-Oxa-Zelmar-Web-X64") || store(windows_, token)) &&
               (!names(token, "TorvoSvcMod") || store(nano_, token));
    }
    static bool store(Field& field, astring* token) noexcept
    {
        trim(token);
        return field.store(smCopy(token));
    }

    Field linux_, sign_, windows_, nano_;
};

s32 readManifest(const astring* path, StructOxaPloxPackage* package) noexcept
{
    std::FILE* opened = nullptr;
    if (package == nullptr || fopen_s(&opened, path, "re") != 0) {
        __SysDbgPrint3("[AUFPI]%s: fopen failed for sha_file.\n", op);
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    const File             file(opened);
    const SmOwned<astring> line = smText(kLineSize);
    if (!line) {
        __SysDbgPrint3("[AUFPI]%s: Malloc failed for line.\n", op);
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    Record record(*package);
    while (std::fgets(line.get(), kLineSize, file.get()) != nullptr)
        if (!record.storeLine(line.get())) return OXA_UPDATE_OUT_OF_MEMORY;
    return 0;
}

/** As the current locale knows white space. */
std::string_view trimmed(std::string_view text) noexcept
{
    const auto blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!text.empty() && blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && blank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace
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
