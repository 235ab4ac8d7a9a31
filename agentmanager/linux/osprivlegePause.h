/** @file osprivlegePause.h  A pause that signals make no shorter. */
#ifndef OSPRIVLEGEPAUSE_H
#define OSPRIVLEGEPAUSE_H

namespace qvrf {

/** Sleeps for @p seconds, however many signals the process handles meanwhile. */
void pauseFor(unsigned int seconds) noexcept;

}  // namespace qvrf

#endif
