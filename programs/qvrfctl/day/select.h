/** @file select.h  qvrfctl get --select and --expand: pieces of a resource, and a collection as one document. */
#ifndef QVRFCTL_DAY_SELECT_H
#define QVRFCTL_DAY_SELECT_H

#include <string>

namespace qvrfctl {

struct Context;

/**
 * Reads @p path and shows the members that @p keys names ("Id,Status.Health"; empty: all of it), of a collection those
 * of each member, a line each. @p expand: all pages with their members. @p seconds: for all of it; 0: no limit
 * @throws Failure where nothing has any of them
 */
void showSelected(const Context& context, const std::string& path, const std::string& keys, bool expand,
                  unsigned seconds);

}  // namespace qvrfctl

#endif
