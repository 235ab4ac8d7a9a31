/** @file qvrfutilLXKept.h  Whom the connections of the session lead to that are kept between GETs. */
#ifndef QVRFUTILLXKEPT_H
#define QVRFUTILLXKEPT_H

#include "curlLxKept.h"
#include "qvrfutil.h"

namespace qvrf {

/** The BMC and the session of now: a connection that is kept serves nobody else. */
KeptFor keptForSession() noexcept;
/** The same for a copy of the record. */
KeptFor keptFor(const QVRFUTILSession& session) noexcept;

}  // namespace qvrf

#endif
