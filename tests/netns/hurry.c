/* Preloaded into the tools: the pauses between the probe's requests pass at once, and where NOBODY_ANSWERS the wait
 * too. */
#include <stddef.h>
#include <stdlib.h>
#include <sys/select.h>

unsigned sleep(unsigned seconds);
unsigned sleep(unsigned seconds)
{
    (void)seconds;
    return 0;
}

int select(int end, fd_set* readable, fd_set* writable, fd_set* odd, struct timeval* limit)
{
    const struct timespec wait = {getenv("NOBODY_ANSWERS") != NULL ? 0 : limit->tv_sec, limit->tv_usec * 1000};
    return pselect(end, readable, writable, odd, &wait, NULL);
}
