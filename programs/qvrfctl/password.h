/** @file password.h  A password for a user of the BMC. */
#ifndef QVRFCTL_PASSWORD_H
#define QVRFCTL_PASSWORD_H

#include <array>

#include "oxarfutilHelper.h"

namespace qvrfctl {

/**
 * Random characters of the kernel's, of all four kinds that password rules ask for. The library's generator goes by the
 * clock: two of its passwords of one second are the same one. Overwritten when it goes.
 */
class Password {
public:
    /** @throws Failure when the kernel has no random numbers */
    Password();
    ~Password();
    Password(Password&&) = delete;

    const char* text() const noexcept { return text_.data(); }

private:
    std::array<char, OXA_PASSWORD_LENGTH + 1> text_{};
};

/**
 * A password that nobody saw is of no use. @p undone: what has not been done, "no user was made"
 * @throws Failure when standard output shows beforehand that it will not take one
 */
void needReader(const char* undone);

}  // namespace qvrfctl

#endif
