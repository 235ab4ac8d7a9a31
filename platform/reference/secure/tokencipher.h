/** @file tokencipher.h  The key derivation of the token encryption, for its test. */
#ifndef TOKENCIPHER_H
#define TOKENCIPHER_H

#include <array>

namespace qvplatform {

using Key = std::array<unsigned char, 32>;

/**
 * PBKDF2-HMAC-SHA-256 of @p material: one iteration, because 256 random bits need no stretching, and the fixed salt
 * "qvoxa session token", because they are new for every encryption. @return false when OpenSSL fails.
 */
bool deriveKey(const Key& material, Key& key) noexcept;

}  // namespace qvplatform

#endif
