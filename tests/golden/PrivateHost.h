/** @file PrivateHost.h  A host of this process's own: mounts and network links that nobody else sees. */
#ifndef GOLDEN_PRIVATEHOST_H
#define GOLDEN_PRIVATEHOST_H

#include <string>

namespace golden {

/**
 * Enters it, once: empty /tmp, /opt and /sys, a network of its own with a link "usbnic0" at whose other end somebody
 * answers for 169.254.1.1. @return why that is impossible; empty when it was done
 */
const std::string& privateHost();

/** The link as it was at first. */
void renewLink();

}  // namespace golden

#endif
