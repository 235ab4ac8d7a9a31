// The same agent from C++: the headers must bring their C linkage along.
#include <cstdio>
#include <string>

#include "qvrfutil.h"
#include "smsupport.h"

int main()
{
    std::string     address = "169.254.1.1", port = "443";
    QVRFUTILSession session{};

    SMFreeMem(SMAllocMem(16));
    if (QVRFUTILInit(FALSE) != 0 || QVRFUTILSetIPAddress(address.data(), port.data(), FALSE) != 0) return 1;
    if (QVRFUTILGetRFSessionInfo(&session, FALSE) != 0) return 1;
    std::printf("endpoint %s:%s session %s\n", session.IPAddress, session.Port, session.SessionID);
    QVRFUTILCleanUp();
    return 0;
}
