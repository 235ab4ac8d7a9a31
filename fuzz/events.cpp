/** @file events.cpp  An event stream in pieces of any size. */
#include "fuzz.h"
#include "qvrfutil_events.hpp"

FUZZ(events)
{
    const std::size_t     size = in.byte() + 1, most = in.byte() + 1;
    qvrfutil::EventParser cut(most), whole(most);
    const auto            expected = whole.take(in.left);
    std::size_t           seen     = 0;
    while (!in.left.empty())
        for (const auto& item : cut.take(in.take(size))) {
            fuzz::hold(seen < expected.size() && item.data == expected[seen].data, "pieces of any size say the same");
            fuzz::hold(item.data.size() <= most, "a longer event is left out");
            ++seen;
        }
    fuzz::hold(seen == expected.size() && cut.isWithinEvent() == whole.isWithinEvent(), "all of it");
}
