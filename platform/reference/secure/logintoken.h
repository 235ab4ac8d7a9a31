/** @file logintoken.h  How a login token is written, apart from how it is enrolled and handed out. */
#ifndef LOGINTOKEN_H
#define LOGINTOKEN_H

#include <ctime>
#include <string_view>

#include "qvtypes.h"
#include "wiped.h"

namespace qvplatform {

/** A signed token (JWT, HS256) that is good for five minutes from @p now; empty when it cannot be made. */
Bytes writeToken(std::string_view key, const char* userName, u32 role, std::time_t now);

/**
 * The key in @p file without its trailing line end; empty when it is shorter than 32 bytes, or not ours alone to read.
 */
Bytes readTokenKey(const char* file);

}  // namespace qvplatform

#endif
