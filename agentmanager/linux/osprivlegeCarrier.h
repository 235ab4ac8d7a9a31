/** @file osprivlegeCarrier.h  The wait for the carrier of an interface that was just brought up. */
#ifndef OSPRIVLEGECARRIER_H
#define OSPRIVLEGECARRIER_H

namespace qvrf {

/**
 * Waits until the interface has been running for a moment, for five seconds at most. The kernel puts the carrier of an
 * interface that was brought up back in its own time, and swallows what is sent before.
 * @param op  logs under this name when the carrier does not come
 * @return false when it did not come, or the host cannot tell
 */
bool awaitRunning(const char* op, const char* interfaceName) noexcept;

}  // namespace qvrf

#endif
