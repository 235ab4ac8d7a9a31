/** @file password.cpp  Draws a password. */
#include "password.h"

#include <string.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "failure.h"
#include "process.h"

namespace qvrfctl {
namespace {

// Nothing that the BMC's command line takes for more than a character. 64 of them: six random bits choose fairly.
constexpr std::string_view kKinds[] = {"abcdefghijkmnopqrstuvwxyz", "ABCDEFGHJKLMNPQRSTUVWXYZ", "23456789", "!@#^*?_"};
constexpr std::string_view kAll     = "abcdefghijkmnopqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789!@#^*?_";
static_assert(kAll.size() == 64);

bool hasAllKinds(std::string_view text)
{
    const auto has = [&](std::string_view kind) { return text.find_first_of(kind) != text.npos; };
    return std::all_of(std::begin(kKinds), std::end(kKinds), has);
}

}  // namespace

Password::Password()
{
    std::array<unsigned char, OXA_PASSWORD_LENGTH> random{};
    do {
        if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
            throw Failure(kExitLibrary, std::string("cannot make a password: ") + std::strerror(errno));
        std::transform(random.begin(), random.end(), text_.begin(), [](unsigned char r) { return kAll[r % 64]; });
    } while (!hasAllKinds({text_.data(), random.size()}));
    ::explicit_bzero(random.data(), random.size());
}

Password::~Password()
{
    ::explicit_bzero(text_.data(), text_.size());
}

void needReader(const char* undone)
{
    if (const std::string why = qvtools::whyUnwritable(); !why.empty())
        throw Failure(kExitOutput, "cannot write the password: " + why + "; " + undone, "have standard output read");
}

}  // namespace qvrfctl
