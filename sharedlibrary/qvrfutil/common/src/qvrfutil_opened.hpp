/**
 * @file qvrfutil_opened.hpp
 * A session, where it was opened and for whom. Included by qvrfutil_core.hpp; programs have no use for it alone.
 */
#ifndef QVRFUTIL_OPENED_HPP
#define QVRFUTIL_OPENED_HPP

#include <string.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "qvrfutil.h"
#include "qvrfutil_threads.hpp"

namespace qvrfutil {

/** The BMC's generations differ in how they are found and where their sessions are opened. */
enum class Generation { automatic, newer, older };

/** Where the BMC serves Redfish. */
struct Endpoint {
    std::string address;  ///< IPv4, or IPv6 without brackets
    std::string port = "443";

    bool isIpv6() const noexcept { return address.find(':') != address.npos; }
};

/** For whom a session is opened. */
struct Login {
    std::string user      = "root";
    std::string privilege = "root";
    /** What opening takes at most; a session that the BMC opens later than that is closed again. 0: 100 s a try. */
    Duration limit{0};
};

namespace detail {

/** A session as it was when it was opened. Nothing changes it: whoever has it may use it without a lock. */
class Opened {
public:
    Opened(const QVRFUTILSession& record, std::uint64_t epoch) : record_(record), epoch_(epoch) {}
    ~Opened() { ::explicit_bzero(&record_, sizeof record_); }  // the encrypted token stands beside its key
    Opened(Opened&&) = delete;

    const QVRFUTILSession& record() const noexcept { return record_; }
    std::uint64_t          epoch() const noexcept { return epoch_; }  ///< counts the sessions
    bool                   isSession() const noexcept
    {
        return record_.SessionID[0] != '\0' && std::string_view(record_.SessionID) != "-1";
    }

private:
    QVRFUTILSession record_;
    std::uint64_t   epoch_;
};
using OpenedCopy = std::shared_ptr<const Opened>;

}  // namespace detail
}  // namespace qvrfutil

#endif
