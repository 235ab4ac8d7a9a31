/**
 * @file change.h  Changes: held against what the BMC allows, against what somebody else changed, and against its word.
 */
#ifndef QVRFCTL_DAY_CHANGE_H
#define QVRFCTL_DAY_CHANGE_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "secret.h"
#include "service.h"

namespace qvrfctl {

/** POST to the target of an action. @throws Refusal; a Failure where the resource does not offer it */
Reply runAction(Service& service, const Value& resource, const char* action, const Value& parameters);

/** Whether what the user was shown still holds, of the resource as it is now. */
using Holds = std::function<bool(const Value& resource)>;
/**
 * PATCH with the ETag of a GET just made, as it came. A BMC that wants one (428), that saw another change (412) while
 * @p holds, or that compares weak tags by the letter, is asked again. @throws Refusal
 */
Reply patch(Service& service, const std::string& path, const Value& change, const Holds& holds = {});

/** The same with the change as text, for one that nothing is to be left of. */
Reply patchText(Service& service, const std::string& path, const Secret& change);

/** The values that an action takes for a parameter; nothing where the BMC does not say: it may take any. */
std::optional<std::vector<std::string>> allowedValues(Service& service, const Value& action,
                                                      const std::string& parameter);
/** The one of @p words that is @p word, upper and lower case aside; nothing where there is none. */
std::optional<std::string> sameOf(const std::vector<std::string>& words, const std::string& word);

}  // namespace qvrfctl

#endif
