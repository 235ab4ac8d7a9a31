/** @file OemText.h  Text transactions over OEM requests: written, run and read in pieces. */
#ifndef TORVOSIM_OEMTEXT_H
#define TORVOSIM_OEMTEXT_H

#include <cstdint>
#include <list>
#include <mutex>
#include <string>

#include "Bmc.h"
#include "Support.h"

namespace torvosim {

/** What one OEM request came to: reply data with its completion code, and what the trace may tell of it. */
struct OemReply {
    Bytes       data;
    std::string trace;
};

class OemText {
public:
    explicit OemText(Bmc& bmc) : bmc_(bmc) {}

    OemReply write(const Bytes& data);
    OemReply run(const Bytes& data);
    OemReply read(const Bytes& data);

private:
    struct Transaction {
        std::uint32_t id = 0;
        std::string   text;
        std::string   reply;
    };
    Transaction* find(std::uint32_t id);
    void         forget(std::uint32_t id);
    std::int32_t perform(std::uint8_t verb, const std::string& text, std::string& reply, std::string& trace);

    Bmc&                   bmc_;
    std::mutex             mutex_;
    std::list<Transaction> transactions_;  // oldest first
};

}  // namespace torvosim

#endif
