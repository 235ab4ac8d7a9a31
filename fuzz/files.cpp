/** @file files.cpp  Files of the update package and of the configuration, and paths. */
#include <algorithm>
#include <cstring>

#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "base/settings.h"
#include "fuzz.h"
#include "smsupport.h"

FUZZ(manifest)
{
    StructOxaPloxPackage package{};
    fuzz::hold(pasrseSHA256File(fuzz::file(in.line()), &package) == 0, "any text can be read");
    for (astring* name :
         {package.pLinuxUpdatePkg, package.pLinuxSignFile, package.pWindowsUpdatePkg, package.pWindowsNanoUpdatePkg}) {
        if (name != nullptr) fuzz::hold(std::strlen(name) < 520, "a line's length");
        SMFreeMem(name);
    }
}

FUZZ(configuration)
{
    auto              key = fuzz::text(in.line());
    std::vector<char> value(9);
    fuzz::hold(ParseConfigFile(fuzz::file(in.rest()), key.data(), value.data()) == 0, "any text can be read");
    fuzz::hold(std::memchr(value.data(), '\0', value.size()) != nullptr, "a value ends");
}

FUZZ(settings)
{
    for (const auto& complaint : qvplatform::readSettings(in.left).complaints)
        fuzz::hold(!complaint.empty(), "a complaint says something");
    qvplatform::parseEndpoint(in.left);
}

FUZZ(paths)
{
    const auto        given = fuzz::text(in.take(4095));
    std::vector<char> path(4096);
    std::copy(given.begin(), given.end(), path.begin());
    const std::string_view before = given.data();
    const s32              status = FolderPathCorrection(path.data());
    const auto             blanks = static_cast<std::size_t>(std::count(before.begin(), before.end(), ' '));
    fuzz::hold(std::strlen(path.data()) == before.size() + (status == 0 ? blanks : 0), "a backslash for each blank");
    trim(path.data());
}
