/** @file session.cpp  A login's response headers; a response in pieces of any size and a caller with little room. */
#include "fuzz.h"
#include "owners.h"
#include "oxarfutilHelperLx.h"
#include "qvrfutilLX.h"
#include "qvrfutilLXResponse.h"

FUZZ(session_headers)
{
    auto                   header = fuzz::text(in.rest());
    qvrf::SmOwned<astring> token, id;
    const s32              status = qvrf::GetTokenSSID(header.data(), qvrf::Receive(token), qvrf::Receive(id));
    if (token) fuzz::hold(std::strlen(token.get()) <= 32, "a token has 32 characters at most");
    if (id) fuzz::hold(std::strlen(id.get()) <= 64, "a session identifier has 64 characters at most");
    fuzz::hold(status == 0 || status == -1, "a documented status");
}

FUZZ(response)
{
    qvrf::Received    header, body;
    const std::size_t capacity = in.byte(), pieceSize = in.byte() + 1, wanted = in.left.size() + 1;
    while (!in.left.empty()) {
        auto piece = fuzz::text(in.take(pieceSize));
        for (auto* to : {&header, &body}) QVRFUTILCurlRedfishGETResponseCallback(piece.data(), 1, piece.size() - 1, to);
    }
    std::vector<char> room(capacity + 1, 'x');
    astring*          buffer = room.data();
    u32               length = 0;
    u16               http   = 0;
    const s32         status = qvrf::handOverBody("fuzz", body, {&buffer, static_cast<u32>(capacity), &length, &http});
    fuzz::hold(length == wanted && status == (wanted > capacity ? 100 : 0), "the length is told");
    fuzz::hold(room.back() == 'x', "nothing is written behind the caller's room");
    qvrf::SmOwned<astring> copy;
    if (qvrf::handOverHeaders("fuzz", header, TRUE, qvrf::Receive(copy)) == 0 && !header.empty())
        fuzz::hold(std::memcmp(copy.get(), header.pResponse, wanted - 1) == 0, "the headers are those that came");
}
