/** @file Bmc.h  The BMC at the far end of the link: keeps every ARP frame that arrives, and answers as it is told. */
#ifndef USBNIC_BMC_H
#define USBNIC_BMC_H

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "owners.h"

using Bytes = std::vector<std::uint8_t>;

/** Bytes written as hexadecimal digits, blanks between them at will. */
Bytes fromHex(const std::string& text);

class Bmc {
public:
    /** What goes back for the n-th request (0 is the first): frames with their link-layer header. */
    using Behaviour = std::function<std::vector<Bytes>(std::size_t n)>;

    /** @param lateMs  how long it thinks before it answers */
    explicit Bmc(Behaviour behaviour, int lateMs = 0);
    ~Bmc();
    Bmc(Bmc&&) = delete;

    /** Ends its work. @return everything that arrived, link-layer header included */
    std::vector<Bytes> heard();

private:
    void work();
    bool takeOne();

    Behaviour          behaviour_;
    int                lateMs_;
    qvrf::Descriptor   link_;
    qvrf::Descriptor   stop_;
    std::vector<Bytes> heard_;
    std::thread        worker_;
};

#endif
