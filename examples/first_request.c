/* Opens a session with this server's BMC, reads one resource and closes the session again. */
#include <stdio.h>

#include "qvrfutil.h"

int main(int argc, char** argv)
{
    static astring body[256 * 1024];
    astring*       pBody  = body;
    u32            length = 0;
    u16            http   = 0;
    astring        user[] = "root", privilege[] = "root";
    const char*    path = argc > 1 ? argv[1] : "/redfish/v1/Systems";
    s32            status;

    QVRFUTILInit(FALSE);
    giSServerNewGenAndAbove = FALSE; /* find the BMC over IPMI; with TRUE, QVRFUTILSetIPAddress names it */

    status = QVRFUTILCreateSession(user, privilege, 4);
    if (status == OXA_SUCCESS) {
        status = QVRFUTILSendRequest(path, NULL, &pBody, sizeof body, &length, QVRFUTIL_REQUEST_GET, &http, FALSE, NULL,
                                     NULL);
        if (status == OXA_SUCCESS) printf("HTTP %d\n%s\n", http, body);
        QVRFUTILDeleteSession(user, 4); /* ends with QVRFUTILCleanUp */
    } else {
        QVRFUTILCleanUp();
    }
    if (status != OXA_SUCCESS) fprintf(stderr, "status %d: see docs/status-codes.md\n", (int)status);
    return status == OXA_SUCCESS && http == 200 ? 0 : 1;
}
