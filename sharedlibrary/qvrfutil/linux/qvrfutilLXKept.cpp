/** @file qvrfutilLXKept.cpp  Keeping connections between GETs, as far as it concerns the session. */
#include "qvrfutilLXKept.h"

#include "qvrfutilSession.h"
#include "uncancelled.h"

namespace qvrf {

KeptFor keptFor(const QVRFUTILSession& session) noexcept
{
    KeptFor whom{};
    static_assert(sizeof whom.address == sizeof session.IPAddress && sizeof whom.port == sizeof session.Port &&
                  sizeof whom.session == sizeof session.SessionID);
    OXAmemcpy_s(whom.address, sizeof whom.address, session.IPAddress, sizeof session.IPAddress);
    OXAmemcpy_s(whom.port, sizeof whom.port, session.Port, sizeof session.Port);
    OXAmemcpy_s(whom.session, sizeof whom.session, session.SessionID, sizeof session.SessionID);
    whom.newerGeneration = giSServerNewGenAndAbove;
    return whom;
}

KeptFor keptForSession() noexcept
{
    return keptFor(g_RedfishSession);
}

void dropKeptConnections() noexcept
{
    dropKeptHandles();
}

}  // namespace qvrf

extern "C" s32 QVRFUTILKeepConnections(booln keep)
{
    const qvrf::Uncancelled uncancelled;
    qvrf::keepHandles(keep != FALSE);
    return OXA_SUCCESS;
}
