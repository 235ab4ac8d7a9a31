/**
 * @file torvotext.h
 * What libqvhipm has beyond the platform's contract: text transactions with the BMC, for the reference platform's other
 * libraries, and the reason of a failure, for programs that tell people.
 */
#ifndef TORVOTEXT_H
#define TORVOTEXT_H

#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Hands @p size bytes of text to the BMC for @p verb (vmwire::Verb) and fetches what it says.
 * @param[out] status  what the verb came to; its meaning is the verb's
 * @param[out] reply   the reply text, for the caller to give back with SMFreeMem; NULL: not wanted
 * @return 0 when the BMC took the transaction, 1 when it could not be reached, 2 when it refused, 6 out of memory
 * Blocks for some IPMI exchanges, each of them five seconds at most and thirty seconds in all. Any thread.
 */
s32 QVHIPMTextTransaction(u8 verb, const void* text, u32 size, s32* status, astring** reply);

/**
 * Why this thread's last exchange with the BMC did not take place: the configuration file and line that are wrong, or
 * what was tried and the system's word for its failure, as in "connect at /run/bmc: Connection refused".
 * A program that runs on other platforms too refers to it weakly.
 * @param[out] text  receives the problem with its NUL, cut to @p size; NULL: the length alone is wanted
 * @return the problem's length without NUL; 0: there is none
 */
u32 QVHIPMLastProblem(astring* text, u32 size);

#ifdef __cplusplus
}
#endif

#endif
