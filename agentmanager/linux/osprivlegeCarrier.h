/** @file osprivlegeCarrier.h  The wait for the carrier of an interface that was just brought up. */
#ifndef OSPRIVLEGECARRIER_H
#define OSPRIVLEGECARRIER_H

#include <chrono>

namespace qvrf {

/**
 * Waits until an interface runs. The kernel puts the carrier of an interface that was brought up back in its own time,
 * and swallows what is sent before. A carrier that is there costs no time; all waits of one object together take five
 * seconds at most.
 */
class CarrierWait {
public:
    explicit CarrierWait(const char* interfaceName) noexcept;

    /** @return false when no carrier came, or the kernel cannot tell */
    bool running() noexcept { return runningFor(false); }
    /** The same for an interface that was down a moment ago, whose far end needs a moment, too: 0.3 seconds. */
    bool settled() noexcept { return runningFor(true); }

private:
    bool runningFor(bool aMoment) noexcept;

    unsigned int                        index_;
    std::chrono::steady_clock::duration left_;
};

}  // namespace qvrf

#endif
