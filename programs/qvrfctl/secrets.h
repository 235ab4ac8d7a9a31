/** @file secrets.h  Takes passwords, tokens and keys out of text that others will read. */
#ifndef QVRFCTL_SECRETS_H
#define QVRFCTL_SECRETS_H

#include <string>
#include <string_view>
#include <vector>

namespace qvrfctl {

/**
 * @p text with "[removed]" for each of @p known, for what follows a word such as "password" or "token" on its line, for
 * private keys in their armour, and for every word that looks like a token: long, of letters and digits. Rather too
 * much goes than too little.
 */
std::string withoutSecrets(std::string_view text, const std::vector<std::string>& known = {});

}  // namespace qvrfctl

#endif
