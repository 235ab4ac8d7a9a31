/** @file select.h  qvrfctl get --select and --expand: pieces of a resource, and a collection as one document. */
#ifndef QVRFCTL_DAY_SELECT_H
#define QVRFCTL_DAY_SELECT_H

#include <string>

#include "rounds.h"

namespace qvrfctl {

struct Context;

/**
 * Reads @p path and shows the members that @p keys names ("Id,Status.Health"; empty: all of it), of a collection those
 * of each member, a line each. @p expand: all pages with their members.
 * @throws Failure where nothing has any of them
 */
void showSelected(const Context& context, const Rounds& rounds, const std::string& path, const std::string& keys,
                  bool expand);

}  // namespace qvrfctl

#endif
