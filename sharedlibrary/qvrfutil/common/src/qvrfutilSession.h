/** @file qvrfutilSession.h  What the files that keep the session record share. */
#ifndef QVRFUTILSESSION_H
#define QVRFUTILSESSION_H

#include <cstring>

#include "qvisocppsecurecompat.h"
#include "qvrfutil.h"

namespace qvrf {

template <std::size_t N>
void clear(astring (&field)[N]) noexcept
{
    OXAmemset_s(field, N, 0, N);
}

/**
 * Replaces a field's text by the first N - 1 characters of @p text, which may be the field itself.
 * @param room  the bytes of @p text's memory, when it need not have a NUL
 */
template <std::size_t N>
void assign(astring (&field)[N], const astring* text, std::size_t room = N) noexcept
{
    if (text == field) return;
    clear(field);  // strncpy_s writes no terminator: these zeros are it
    strncpy_s(field, N, text, strnlen(text, room < N ? room : N - 1));
}

/** Writes "there is no session" into the record's identifier. */
inline void forgetSessionId() noexcept
{
    assign(g_RedfishSession.SessionID, "-1");
}

/** Closes the kept connections: whom they lead to, or in whose name, is about to change. */
void dropKeptConnections() noexcept;

}  // namespace qvrf

#endif
