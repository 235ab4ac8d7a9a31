/** @file coldpath.h  What every client gets in its one cold request. */
#ifndef COLDPATH_H
#define COLDPATH_H

namespace bench {

constexpr char kColdPath[] = "/redfish/v1/Systems/System.Embedded.1";

}  // namespace bench

#endif
