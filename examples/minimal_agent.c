/*
 * A minimal agent: finds the BMC, keeps one session with it and reads a resource again and again. When the BMC has
 * ended the session in the meantime, it goes on with a new one.
 *
 *     minimal_agent old|new [PATH [TIMES]]
 *
 * "old" and "new" are the generations of the BMC. Exit status 0: every reading was answered with HTTP 200.
 */
#define _POSIX_C_SOURCE 200809L /* sleep, also with -std=c11 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "OxaAutoUpdateUtils.h"
#include "qvrfutil.h"

enum { HTTP_OK = 200, HTTP_UNAUTHORIZED = 401, SECONDS_BETWEEN = 2 };

static astring g_user[]      = "root";
static astring g_privilege[] = "root";

/* The older generation is found over IPMI by QVRFUTILCreateSession itself; the newer one is told where it is. */
static s32 open_session(booln isNewer)
{
    if (isNewer) {
        astring address[APM_IPV4_ADDRESS_SIZE] = "";
        astring port[APM_PORT_SIZE_NEWER_GEN]  = "";
        s32     status                         = APMDiscoveryFetchIPv4IpAddressNewGenandAbove(address);
        if (status == 0) status = APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove(port);
        if (status == 0) status = QVRFUTILSetIPAddress(address, port, FALSE);
        if (status != 0) return status;
    }
    return QVRFUTILCreateSession(g_user, g_privilege, 4);
}

static s32 read_once(const char* path, u16* http)
{
    static astring body[1024 * 1024];
    astring*       pBody  = body;
    u32            length = 0;
    s32            status =
        QVRFUTILSendRequest(path, NULL, &pBody, sizeof body, &length, QVRFUTIL_REQUEST_GET, http, FALSE, NULL, NULL);
    if (status == QVRFUTIL_BUFFER_TOO_SMALL) fprintf(stderr, "the answer needs %lu bytes\n", (unsigned long)length);
    return status;
}

static s32 read_resource(booln isNewer, const char* path, u16* http)
{
    s32 status = read_once(path, http);
    if (isNewer && status == QVRFUTIL_SESSION_FAILURE) {
        printf("the BMC ended the session: logging in again\n");
        QVRFUTILDeleteSessionNewGenAndAbove(); /* forgets it; the port too, which open_session finds again */
        status = open_session(isNewer);
        if (status == 0) status = read_once(path, http);
    } else if (!isNewer && status == 0 && *http == HTTP_UNAUTHORIZED) {
        printf("the BMC ended the session: the library has opened a new one\n");
        status = read_once(path, http);
    }
    return status;
}

int main(int argc, char** argv)
{
    const booln isNewer = argc > 1 && strcmp(argv[1], "new") == 0 ? TRUE : FALSE;
    const char* path    = argc > 2 ? argv[2] : "/redfish/v1/Systems";
    int         left    = argc > 3 ? atoi(argv[3]) : 10;
    u16         http    = 0;
    s32         status;

    if (argc < 2 || (!isNewer && strcmp(argv[1], "old") != 0)) {
        fprintf(stderr, "usage: %s old|new [PATH [TIMES]]\n", argv[0]);
        return 2;
    }
    QVRFUTILInit(FALSE);
    giSServerNewGenAndAbove = isNewer;
    status                  = open_session(isNewer);
    if (status == 0) {
        for (; left > 0; left--) {
            status = read_resource(isNewer, path, &http);
            if (status != 0 || http != HTTP_OK) break;
            printf("session %s: GET %s: HTTP %d\n", g_RedfishSession.SessionID, path, http);
            fflush(stdout);
            if (left > 1) sleep(SECONDS_BETWEEN);
        }
        if (status == 0 && http != HTTP_OK) fprintf(stderr, "GET %s: HTTP %d\n", path, http);
        QVRFUTILDeleteSession(g_user, 4); /* ends with QVRFUTILCleanUp */
    } else {
        QVRFUTILCleanUp();
    }
    if (status != 0) fprintf(stderr, "status %d: see docs/status-codes.md\n", (int)status);
    return status == 0 && http == HTTP_OK ? 0 : 1;
}
