/** @file qvrfutilLXKept.h  Whom the connections of the session lead to that are kept between GETs. */
#ifndef QVRFUTILLXKEPT_H
#define QVRFUTILLXKEPT_H

#include "curlLxKept.h"

namespace qvrf {

/** The BMC and the session of now: a connection that is kept serves nobody else. */
KeptFor keptForSession() noexcept;

}  // namespace qvrf

#endif
