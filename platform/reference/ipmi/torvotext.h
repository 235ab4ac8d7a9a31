/**
 * @file torvotext.h
 * Text transactions with the BMC, for the reference platform's other libraries. Not part of the platform's contract.
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
 * Blocks for some IPMI exchanges, each of them five seconds at most. Any thread.
 */
s32 QVHIPMTextTransaction(u8 verb, const void* text, u32 size, s32* status, astring** reply);

#ifdef __cplusplus
}
#endif

#endif
