/** @file Stats.h  Counters of what was served. */
#ifndef TORVOSIM_STATS_H
#define TORVOSIM_STATS_H

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "Support.h"

namespace torvosim {

struct Stats {
    std::atomic<std::uint64_t> connections{0};
    std::atomic<std::uint64_t> handshakesFailed{0};
    std::atomic<std::uint64_t> logins{0};
    std::atomic<std::uint64_t> loginsRefused{0};
    std::atomic<std::uint64_t> eventsSent{0};
    std::atomic<std::uint64_t> streamsOpen{0};
    std::atomic<std::uint64_t> uploads{0};
    std::atomic<std::uint64_t> ipmiMessages{0};
    std::atomic<std::uint64_t> ipmiFramesDropped{0};

    /** Requests by "METHOD path status". */
    Guarded<std::map<std::string, std::uint64_t>> requests;

    void countRequest(const std::string& method, const std::string& path, int status)
    {
        constexpr std::size_t kMostRows = 4096;
        requests.with([&](auto& rows) {
            std::string key = method + ' ' + path + ' ' + std::to_string(status);
            if (rows.size() >= kMostRows && rows.count(key) == 0) key = "others";
            ++rows[key];
        });
    }
};

}  // namespace torvosim

#endif
