/** @file OxaAutoUpdateLinuxReason.h  Why the last step of an update failed, in words for its user. */
#ifndef OXAAUTOUPDATELINUXREASON_H
#define OXAAUTOUPDATELINUXREASON_H

namespace qvrf {

/** Keeps the reason for OXAAutoUpdateReason; a longer text is cut. */
void setReason(const char* format, ...) noexcept __attribute__((format(printf, 1, 2)));

/** Nothing has failed so far. */
void forgetReason() noexcept;

}  // namespace qvrf

#endif
