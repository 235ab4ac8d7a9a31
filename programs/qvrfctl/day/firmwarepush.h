/** @file firmwarepush.h  The ways that a BMC takes an image. */
#ifndef QVRFCTL_DAY_FIRMWAREPUSH_H
#define QVRFCTL_DAY_FIRMWAREPUSH_H

#include "firmwareupdate.h"
#include "service.h"

namespace qvrfctl {

/**
 * Hands the image over, in the first way that the BMC announces for it: its answer stands, no other way is tried.
 * @param targets  paths of the inventory. @throws Refusal; a Failure where the BMC announces none, or it broke off
 */
Reply handOver(Service& service, const Value& updates, const UpdateWords& words,
               const std::vector<std::string>& targets);

}  // namespace qvrfctl

#endif
