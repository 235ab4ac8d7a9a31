/* The smallest agent, C and C++ alike: starts the library, sets an endpoint, shows what the session record says. */
#include <stdio.h>
#include <string.h>

#include "qvrfutil.h"
#include "smsupport.h"

int main(void)
{
    char            address[] = "169.254.1.1";
    char            port[]    = "443";
    QVRFUTILSession session;
    void*           block = SMAllocMem(16);

    if (block == NULL || QVRFUTILInit(FALSE) != 0 || QVRFUTILSetIPAddress(address, port, FALSE) != 0) return 1;
    if (QVRFUTILGetRFSessionInfo(&session, FALSE) != 0) return 1;
    printf("endpoint %s:%s session %s\n", session.IPAddress, session.Port, session.SessionID);
    SMFreeMem(block);
    QVRFUTILCleanUp();
    return strcmp(session.SessionID, "-1") == 0 ? 0 : 1;
}
