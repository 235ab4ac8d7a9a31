/** @file gets.cpp  A GET of so many bytes, by everybody. */
#include "gets.h"

#include <stdexcept>

namespace bench {

void check(const RawAnswer& answer, u32 size)
{
    if (answer.http != 200 || answer.body.size != size) throw std::runtime_error("libcurl's GET failed");
}

void getByLibrary(const Bytes& bytes, astring* buffer)
{
    u32       length = 0;
    u16       http   = 0;
    const s32 status = QVRFUTILSendRequest(bytes.path.c_str(), nullptr, &buffer, bytes.size + 1, &length,
                                           QVRFUTIL_REQUEST_GET, &http, FALSE, nullptr, nullptr);
    if (status != 0 || http != 200 || length != bytes.size + 1) throw std::runtime_error("the library's GET failed");
}

void getByCurl(const Resource& resource, u32 size)
{
    RawAnswer answer;
    rawGet(resource, answer);
    check(answer, size);
}

void getByCurl(RawKept& kept, u32 size)
{
    RawAnswer answer;
    kept.get(answer);
    check(answer, size);
}

}  // namespace bench
