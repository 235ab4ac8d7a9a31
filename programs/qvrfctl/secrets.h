/** @file secrets.h  Takes passwords, tokens and keys out of text that others will read. */
#ifndef QVRFCTL_SECRETS_H
#define QVRFCTL_SECRETS_H

#include <string>
#include <string_view>
#include <vector>

namespace qvrfctl {

/**
 * @p text with "[removed]" for each of @p known; in JSON for the values of keys such as "Password" or
 * "CommunityString"; elsewhere for what follows such a word on its line, or on the next one when nothing does; for
 * private keys in their armour, for user and password in a URL, and for every word that looks like a token: long, of
 * letters and digits. Rather too much goes than too little; a secret of none of these kinds stays.
 */
std::string withoutSecrets(std::string_view text, const std::vector<std::string>& known = {});

/**
 * The same for what this program says itself, in which words such as "login token" announce no secret: @p known, users
 * in URLs and words that look like tokens go, all else stays readable.
 */
std::string withoutTokens(std::string_view text, const std::vector<std::string>& known);

}  // namespace qvrfctl

#endif
