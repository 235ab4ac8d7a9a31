/** @file eventreader.cpp  Reads an event stream as a subscriber would. */
#include "eventreader.h"

#include <charconv>
#include <chrono>
#include <ctime>

namespace bench {

namespace {

constexpr std::uint64_t kTellEvery = 1000;  // and the last: waking the waiter for each would cost more than the event
constexpr auto          kPatience  = std::chrono::seconds(10);

std::int64_t nowNs(clockid_t clock)
{
    timespec now{};
    ::clock_gettime(clock, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

/** The number behind @p mark in @p text; 0 when there is none. */
template <class Number>
Number numberBehind(std::string_view text, std::string_view mark)
{
    Number     number = 0;
    const auto at     = text.find(mark);
    if (at != text.npos) std::from_chars(text.data() + at + mark.size(), text.data() + text.size(), number);
    return number;
}

}  // namespace

void EventReader::feed(std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto end = bytes.find('\n');
        if (end == bytes.npos) {
            partial_ += bytes;
            return;
        }
        if (partial_.empty()) {
            line(bytes.substr(0, end));
        } else {
            partial_ += bytes.substr(0, end);
            line(partial_);
            partial_.clear();
        }
        bytes.remove_prefix(end + 1);
    }
}

void EventReader::line(std::string_view text)
{
    if (text.empty())
        event();
    else if (text.compare(0, 4, "id: ") == 0)
        id_ = numberBehind<std::uint64_t>(text, "id: ");
    else
        sentNs_ = numberBehind<std::int64_t>(text, "\"Message\":\"Burst at ");
}

void EventReader::event()
{
    const bool follows = came_ == 0 || (consecutive_ ? id_ == lastId_ + 1 : id_ > lastId_);
    if (!follows || sentNs_ == 0) ++outOfOrder_;
    lastId_ = id_;
    delaysUs_.add(static_cast<double>(nowNs(CLOCK_MONOTONIC) - sentNs_) / 1e3);
    sentNs_ = 0;
    ++came_;
    const double sign = came_ == 1 ? -1 : came_ == expected_ ? 1 : 0;
    if (sign != 0) {
        seconds_ += sign * static_cast<double>(nowNs(CLOCK_MONOTONIC)) / 1e9;
        cpuSeconds_ += sign * static_cast<double>(nowNs(CLOCK_THREAD_CPUTIME_ID)) / 1e9;
    }
    if (came_ % kTellEvery != 0 && came_ != expected_) return;
    const std::lock_guard<std::mutex> held(mutex_);
    told_ = came_;
    moved_.notify_one();
}

void EventReader::awaitAll()
{
    std::unique_lock<std::mutex> held(mutex_);
    std::uint64_t                seen = told_;
    while (told_ < expected_ && moved_.wait_for(held, kPatience, [&] { return told_ != seen; })) seen = told_;
}

}  // namespace bench
