/** @file secure_compat.cpp  The bounds-checked functions against a model made from their description. */
#include "qvisocppsecurecompat.h"

#include <string>

#include "fuzz.h"

namespace {

/** A call, and what its description says of it: does it fit, else which status; which bytes come where. */
struct Call {
    int         status;
    bool        fits;
    int         refusal;
    std::size_t at;
    std::string bytes;
};

Call call(unsigned function, char* to, std::size_t size, std::size_t there, const std::string& from, std::size_t n)
{
    const std::string cut = from.substr(0, n), whole = from + '\0', zeros(n - cut.size(), '\0');
    const auto        copy = fuzz::text(from);
    const char* const text = copy.data();
    switch (function) {
        case 0: return {strcpy_s(to, size, text), from.size() < size, 34, 0, whole};
        case 1: return {strncpy_s(to, size, text, n), size > n, 22, 0, cut + zeros};
        case 2: return {strcat_s(to, size, text), size > 0 && there + from.size() < size, 34, there, whole};
        case 3: return {strncat_s(to, size, text, n), size > 0 && there + n < size, 34, there, cut + '\0'};
        case 4: return {OXAmemcpy_s(to, size, text, cut.size()), !cut.empty() && cut.size() <= size, 34, 0, cut};
        default: return {OXAmemset_s(to, size, 'z', n), n <= size, 22, 0, std::string(n, 'z')};
    }
}

}  // namespace

FUZZ(secure_compat)
{
    const unsigned    function = in.byte() % 6;
    const std::size_t size = in.byte() % 24, count = in.byte() % 32, there = in.byte() % 8;
    std::string       room = std::string(there, 'a') + '\0' + std::string(24 - there, '#'), expected = room;
    const Call        made = call(function, room.data(), size, there, fuzz::text(in.take(40)).data(), count);
    fuzz::hold(made.status == (made.fits ? 0 : made.refusal), "the status that is described");
    if (made.fits)
        fuzz::hold(room == expected.replace(made.at, made.bytes.size(), made.bytes), "the bytes, and no more");
}
