/**
 * @file FailingCurl.h
 * Makes the n-th libcurl call of the library fail. The test program is linked with --wrap for each function concerned
 * (bench_failing_curl in CMake brings the options along); a call that is not to fail goes through to libcurl.
 */
#ifndef FAILINGCURL_H
#define FAILINGCURL_H

#include <string>

namespace bench {

/** Lets the @p nth call from now on fail, counted from 1; 0: none. */
void failCurlCall(unsigned nth);

/** The function that failed; empty when so many calls never came. */
std::string failedCurlCall();

}  // namespace bench

#endif
