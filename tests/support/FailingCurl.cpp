/** @file FailingCurl.cpp  libcurl's functions with a failure put in. */
#include "FailingCurl.h"

#include <curl/curl.h>

#include <atomic>
#include <cstdarg>
#include <mutex>

#undef curl_easy_setopt
#undef curl_easy_getinfo

namespace {

std::mutex  guard;
unsigned    countdown = 0;
std::string failed;

bool failsNow(const char* name)
{
    const std::lock_guard<std::mutex> lock(guard);
    if (countdown == 0 || --countdown != 0) return false;
    failed = name;
    return true;
}

}  // namespace

void bench::failCurlCall(unsigned nth)
{
    const std::lock_guard<std::mutex> lock(guard);
    countdown = nth;
    failed.clear();
}

std::string bench::failedCurlCall()
{
    const std::lock_guard<std::mutex> lock(guard);
    return failed;
}

extern "C" {

CURL*       __real_curl_easy_init();
CURLcode    __real_curl_easy_setopt(CURL*, CURLoption, ...);
CURLcode    __real_curl_easy_perform(CURL*);
CURLcode    __real_curl_easy_getinfo(CURL*, CURLINFO, ...);
curl_slist* __real_curl_slist_append(curl_slist*, const char*);
curl_mime*  __real_curl_mime_init(CURL*);
CURLM*      __real_curl_multi_init();
CURLMcode   __real_curl_multi_add_handle(CURLM*, CURL*);
CURLMcode   __real_curl_multi_perform(CURLM*, int*);

CURL* __wrap_curl_easy_init()
{
    return failsNow("curl_easy_init") ? nullptr : __real_curl_easy_init();
}

// Every option that the library sets takes a pointer or a long: one machine word each.
CURLcode __wrap_curl_easy_setopt(CURL* easy, CURLoption option, ...)
{
    va_list arguments;
    va_start(arguments, option);
    void* const word = va_arg(arguments, void*);
    va_end(arguments);
    return failsNow("curl_easy_setopt") ? CURLE_OUT_OF_MEMORY : __real_curl_easy_setopt(easy, option, word);
}

CURLcode __wrap_curl_easy_perform(CURL* easy)
{
    return failsNow("curl_easy_perform") ? CURLE_COULDNT_CONNECT : __real_curl_easy_perform(easy);
}

CURLcode __wrap_curl_easy_getinfo(CURL* easy, CURLINFO info, ...)
{
    va_list arguments;
    va_start(arguments, info);
    void* const out = va_arg(arguments, void*);
    va_end(arguments);
    return failsNow("curl_easy_getinfo") ? CURLE_BAD_FUNCTION_ARGUMENT : __real_curl_easy_getinfo(easy, info, out);
}

curl_slist* __wrap_curl_slist_append(curl_slist* list, const char* line)
{
    return failsNow("curl_slist_append") ? nullptr : __real_curl_slist_append(list, line);
}

curl_mime* __wrap_curl_mime_init(CURL* easy)
{
    return failsNow("curl_mime_init") ? nullptr : __real_curl_mime_init(easy);
}

CURLM* __wrap_curl_multi_init()
{
    return failsNow("curl_multi_init") ? nullptr : __real_curl_multi_init();
}

CURLMcode __wrap_curl_multi_add_handle(CURLM* multi, CURL* easy)
{
    return failsNow("curl_multi_add_handle") ? CURLM_OUT_OF_MEMORY : __real_curl_multi_add_handle(multi, easy);
}

CURLMcode __wrap_curl_multi_perform(CURLM* multi, int* running)
{
    return failsNow("curl_multi_perform") ? CURLM_OUT_OF_MEMORY : __real_curl_multi_perform(multi, running);
}

}  // extern "C"
