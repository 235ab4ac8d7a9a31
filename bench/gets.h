/** @file gets.h  A GET of so many bytes, by everybody; it fails loudly when something else came. */
#ifndef GETS_H
#define GETS_H

#include <string>

#include "qvrfutil.h"
#include "rawcurl.h"

namespace bench {

/** A resource of @p size bytes that the BMC makes up. */
struct Bytes {
    explicit Bytes(u32 bytes) : path("/test/bytes/" + std::to_string(bytes)), size(bytes) {}
    std::string path;
    u32         size;
};

/** Into @p buffer, which has room for one character more. */
void getByLibrary(const Bytes& bytes, astring* buffer);

/** On a handle of its own, and on a kept one. */
void getByCurl(const Resource& resource, u32 size);
void getByCurl(RawKept& kept, u32 size);

/** @throws std::runtime_error unless @p answer is as long as it must be */
void check(const RawAnswer& answer, u32 size);

}  // namespace bench

#endif
