/**
 * @file qvrfutil_status.hpp
 * How operations of namespace qvrfutil tell their outcome: a Result holds a value or an Error, and an Error says what
 * failed, by which status of the library or of HTTP, what that means and what to do about it.
 *
 * @code
 *     qvrfutil::Result<qvrfutil::Response> answer = session.get("/redfish/v1/Systems");
 *     if (!answer) return complain(answer.error().text(), answer.error().remedy);   // without exceptions
 *
 *     puts(session.get("/redfish/v1/Systems").orThrow().body.c_str());              // with them: throws Failure
 * @endcode
 */
#ifndef QVRFUTIL_STATUS_HPP
#define QVRFUTIL_STATUS_HPP

#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "qvstatus.h"
#include "qvtypes.h"

namespace qvrfutil {

/** What a status of the library is called and stands for. */
struct StatusText {
    s32         status;
    const char* name;
    const char* meaning;
    const char* remedy;
};

namespace detail {
inline constexpr char kCheckIpmi[] =
    "check that the BMC's IPMI device exists (modprobe ipmi_devintf) and that you may open it; the BMC may be "
    "restarting: try again";
inline constexpr char kCheckLink[] = "check that the USB NIC is up, and the BMC's address and port";
inline constexpr char kCheckUser[] = "check user name and privilege, and that the BMC takes changes (no lockdown mode)";
inline constexpr char kPassThru[]  = "switch the OS-to-BMC pass-through on in the BMC's settings";
inline constexpr char kSeeLog[]    = "the platform's debug log says more";
inline constexpr char kCaller[]    = "this is a fault of the calling program";
inline constexpr char kAgain[]     = "try again";

#define QVRFUTIL_STATUS(code) code, #code
// clang-format off
inline constexpr StatusText kStatusTexts[] = {
    {QVRFUTIL_STATUS(OXA_SUCCESS), "success", ""},
    {QVRFUTIL_STATUS(QVRFUTIL_FAILURE), "the operation failed", kSeeLog},
    {QVRFUTIL_STATUS(QVRFUTIL_BUFFER_TOO_SMALL), "the answer is longer than the room for it", "give more room"},
    {QVRFUTIL_STATUS(QVRFUTIL_NO_SESSION_DETAILS), "there is no Redfish session", kAgain},
    {QVRFUTIL_STATUS(QVRFUTIL_INVALID_ARGUMENTS), "a required argument is missing", kCaller},
    {QVRFUTIL_STATUS(QVRFUTIL_CURL_FAILED), "the HTTPS exchange with the BMC failed", kCheckLink},
    {QVRFUTIL_STATUS(QVRFUTIL_SESSION_FAILURE), "the Redfish session is not valid", kAgain},
    {QVRFUTIL_STATUS(QVRFUTIL_INVALID_PARAMETER), "an argument is missing or invalid", kCaller},
    {QVRFUTIL_STATUS(QVRFUTIL_OUT_OF_MEMORY), "memory is out", "free some memory and try again"},
    {QVRFUTIL_STATUS(QVRFUTIL_EVENT_STREAM_BROKEN), "the event stream broke", "start it again; what happened in between is in the BMC's log"},
    {QVRFUTIL_STATUS(OXA_INVALID_PARAM), "a required argument is missing", kCaller},
    {QVRFUTIL_STATUS(OXA_INVALID_USER_PRIVILEGE), "the privilege is not an accepted one", "use ro, op or root"},
    {QVRFUTIL_STATUS(OXA_INTERNAL_ERROR), "the library failed inside (memory, formatting)", kSeeLog},
    {QVRFUTIL_STATUS(OXA_INVALID_ARG_VALUE), "an argument is out of range", kCaller},
    {QVRFUTIL_STATUS(OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT), "the BMC has no free user slot", "delete a user that is no longer needed"},
    {QVRFUTIL_STATUS(OXA_BMC_CMD_NO_IPPORT), "the BMC's HTTPS port could not be discovered", kCheckIpmi},
    {QVRFUTIL_STATUS(OXA_BMC_CMD_IPMI_ACCESS_FAILED), "the IPMI channel to the BMC could not be used", kCheckIpmi},
    {QVRFUTIL_STATUS(OXA_BMC_CMD_IPMI_RESPONSE_ERROR), "the BMC answered the IPMI command with an error", "check that this BMC knows the command; its log may say more"},
    {QVRFUTIL_STATUS(OXA_BMC_CMD_GET_FW_ERROR), "the BMC's firmware version could not be read over IPMI", kCheckIpmi},
    {QVRFUTIL_STATUS(OXA_BMC_CMD_NO_IPADDRESS), "the BMC's USB NIC address could not be discovered over IPMI", kPassThru},
    {QVRFUTIL_STATUS(OXA_BMC_CMD_SET_USER_NAME_FAILED), "the BMC did not take the user's name", kCheckUser},
    {QVRFUTIL_STATUS(OXA_BMC_CMD_SET_USER_PASSWORD_FAILED), "the BMC did not take the user's password", kCheckUser},
    {QVRFUTIL_STATUS(OXA_BMC_CMD_SET_USER_PRIVILEGE_FAILED), "the BMC did not take the user's privilege", kCheckUser},
    {QVRFUTIL_STATUS(OXA_BMC_CMD_SET_VALUE_IN_DB_FAILED), "the BMC did not take a user's attribute", kCheckUser},
    {QVRFUTIL_STATUS(OXA_USBNIC_ENABLE_FAILED), "the USB NIC could not be enabled", kPassThru},
    {QVRFUTIL_STATUS(OXA_BMC_SESSION_CREATION_FAILED), "the BMC did not open a session: it refused the login, has no session left or cannot be reached over HTTPS", "check address, port and generation; close sessions that are no longer needed"},
    {QVRFUTIL_STATUS(OXA_BMC_SESSION_DELETION_FAILED), "the session could not be deleted", "it ends by itself when its idle time is over"},
    {QVRFUTIL_STATUS(OXA_REDFISH_IP_NOT_ASSIGNED), "the BMC's Redfish address is not assigned", kPassThru},
    {QVRFUTIL_STATUS(OXA_REDFISH_DISABLED), "Redfish is disabled on the BMC", "switch it on in the BMC's settings"},
    {QVRFUTIL_STATUS(OXA_REDFISH_TOKEN_GENERATION_FAILED), "no login token could be made for this user", "check the platform's token key and that the BMC answers over IPMI"},
    {QVRFUTIL_STATUS(OXA_INVALID_LOCATION_HEADER), "the session service's answer has no usable Location header", kSeeLog},
    {QVRFUTIL_STATUS(OXA_BMC_FW_VERSION_OLD), "the BMC's firmware is too old", "update the BMC's firmware"},
    {QVRFUTIL_STATUS(OXA_BMC_LOCKDOWN_MODE_ENABLED), "the BMC is in lockdown mode", "end the lockdown in the BMC's settings"},
    {QVRFUTIL_STATUS(OXA_BMC_LOCKDOWN_MODE_DISABLED), "the BMC is not in lockdown mode", ""},
    {QVRFUTIL_STATUS(OXA_BMC_USBNIC_ENABLED), "the BMC's USB NIC is enabled", ""},
    {QVRFUTIL_STATUS(OXA_BMC_USBNIC_DISABLED), "the BMC's USB NIC is disabled", kPassThru},
};
// clang-format on
#undef QVRFUTIL_STATUS
inline constexpr StatusText kForeignStatus{0, "UNLISTED", "the platform reported a failure of its own", kSeeLog};
}  // namespace detail

/** The row of @p status; a general one for a status of the platform's own. */
inline const StatusText& statusText(s32 status) noexcept
{
    for (const StatusText& row : detail::kStatusTexts)
        if (row.status == status) return row;
    return detail::kForeignStatus;
}

namespace detail {
struct Character {
    std::size_t size;  // bytes; 0: these are not UTF-8
    char32_t    code;
};

/** The character that @p text begins with. Overlong forms count as what they stand for, and are caught as that. */
inline Character firstOf(std::string_view text) noexcept
{
    const auto        lead = static_cast<unsigned char>(text[0]);
    const std::size_t size = lead < 0x80   ? 1
                             : lead < 0xC0 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF8 ? 4
                                           : 0;
    if (size > text.size()) return {0, 0};
    char32_t code = size == 1 ? lead : lead & (0x7Fu >> size);
    for (std::size_t i = 1; i < size; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0u) != 0x80u) return {0, 0};
        code = (code << 6) | (next & 0x3Fu);
    }
    return {size, code};
}

inline bool isHarmless(const Character& c) noexcept
{
    constexpr char32_t turning[][2] = {{0x200E, 0x200F}, {0x202A, 0x202E}, {0x2066, 0x2069}};
    for (const auto& range : turning)
        if (c.code >= range[0] && c.code <= range[1]) return false;
    if (c.size == 1) return c.code >= ' ' && c.code != 0x7F;
    return c.size != 0 && c.code > 0x9F;
}

inline std::string escaped(std::string_view bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string    text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += {'\\', 'x', digits[value >> 4], digits[value & 0x0Fu]};
    }
    return text;
}
}  // namespace detail

/**
 * @p text for a terminal or a log. What a BMC sends may hold control characters, with which it would rule the reader's
 * terminal: they become "\x1b" and the like, and so do marks that turn the direction of writing, and bytes that are not
 * UTF-8. The characters in @p kept stay; a CR LF becomes LF where that stays. Meanings in an Error are printable.
 */
inline std::string printable(std::string_view text, std::string_view kept = {})
{
    std::string clean;
    while (!text.empty()) {
        const detail::Character c    = detail::firstOf(text);
        const std::size_t       size = c.size == 0 ? 1 : c.size;
        if (detail::isHarmless(c) || kept.find(text.front()) != kept.npos)
            clean += text.substr(0, size);
        else if (text.substr(0, 2) != "\r\n" || kept.find('\n') == kept.npos)
            clean += detail::escaped(text.substr(0, size));
        text.remove_prefix(size);
    }
    return clean;
}

/** What kept a request from being answered, where the status alone does not say it. */
enum class Reason {
    other,
    cancelled,
    timeLimit,     ///< whether the BMC did what it was asked for is not known
    notConnected,  ///< nothing reached the BMC
    tooLong,       ///< the answer is above the cap; the BMC did what it was asked for
    file,          ///< Error::system says what is wrong with it
    broken,        ///< the connection broke; whether the BMC did what it was asked for is not known
};

/** A failure, told for a log line and for a program. */
struct Error {
    std::string doing;       ///< "GET /redfish/v1/Systems"
    s32         status = 0;  ///< the library's; 0: the library did its part
    u16         http   = 0;  ///< HTTP status of the BMC's answer; 0: none came, or none was asked for
    s32         cause  = 0;  ///< status of the IPMI exchange behind it; 0: there was none
    int         system = 0;  ///< errno of the file that could not be read or written; 0: it was not that
    Reason      reason = Reason::other;
    std::string meaning;
    std::string remedy;
    std::string page;  ///< the beginning of what came instead of an event stream, as it came

    Error() = default;
    Error(std::string what, s32 code, u16 httpStatus = 0)
        : doing(std::move(what)),
          status(code),
          http(httpStatus),
          meaning(statusText(code).meaning),
          remedy(statusText(code).remedy)
    {
    }
    Error(std::string what, s32 code, std::string_view means, std::string advice, u16 httpStatus = 0)
        : doing(std::move(what)), status(code), http(httpStatus), meaning(printable(means)), remedy(std::move(advice))
    {
    }

    const char* name() const noexcept { return status == 0 ? "" : statusText(status).name; }
    std::string text() const
    {
        std::string says = doing;
        if (status != 0) says += ": status " + std::to_string(status) + " (" + name() + ')';
        if (http != 0) says += ": HTTP " + std::to_string(http);
        return says + ": " + meaning;
    }
};

#ifdef __cpp_exceptions
/** The exception of what orThrow() finds. */
class Failure : public std::runtime_error {
public:
    explicit Failure(Error error) : std::runtime_error(error.text()), error_(std::move(error)) {}
    const Error& error() const noexcept { return error_; }

private:
    Error error_;
};
#endif

namespace detail {

/** Room for a value that may not be there: what Result needs of std::optional, which takes compilers far longer. */
template <class Value>
class Maybe {
public:
    Maybe() noexcept : nothing_() {}
    explicit Maybe(Value&& value) : value_(std::move(value)), isThere_(true) {}
    Maybe(const Maybe& other) : nothing_() { take(other); }
    Maybe(Maybe&& other) noexcept : nothing_() { take(std::move(other)); }
    Maybe& operator=(const Maybe& other) { return *this = Maybe(other); }
    Maybe& operator=(Maybe&& other) noexcept
    {
        if (this == &other) return *this;
        clear();
        take(std::move(other));
        return *this;
    }
    ~Maybe() { clear(); }

    bool   isThere() const noexcept { return isThere_; }
    Value& get() noexcept { return value_; }

private:
    template <class Other>
    void take(Other&& other)
    {
        if (!other.isThere_) return;
        ::new (static_cast<void*>(&value_)) Value(std::forward<Other>(other).value_);
        isThere_ = true;
    }
    void clear() noexcept
    {
        if (std::exchange(isThere_, false)) value_.~Value();
    }

    union {
        char  nothing_;
        Value value_;
    };
    bool isThere_ = false;
};

/** What it is a base of cannot be copied. */
struct Moved {
    Moved()                   = default;
    Moved(Moved&&)            = default;
    Moved& operator=(Moved&&) = default;
};
struct Copied {};
template <class Value>
using LikeValue = std::conditional_t<std::is_copy_constructible_v<Value>, Copied, Moved>;

}  // namespace detail

/** A value, or why there is none. Who asks for the one that is not there gets a Failure; without exceptions, an end. */
template <class Value>
class [[nodiscard]] Result : private detail::LikeValue<Value> {
public:
    Result(Value value) : value_(std::move(value)) {}
    Result(Error error) : error_(std::move(error)) {}

    explicit     operator bool() const noexcept { return value_.isThere(); }
    Value&       operator*() & { return value(); }
    Value&&      operator*() && { return std::move(value()); }
    const Value& operator*() const& { return const_cast<Result*>(this)->value(); }
    Value*       operator->() { return &value(); }
    const Value* operator->() const { return &const_cast<Result*>(this)->value(); }
    /** Of a result without a value. */
    const Error& error() const
    {
        if (*this) wrongSide(Error("look for an error", QVRFUTIL_INVALID_PARAMETER, "there is none", detail::kCaller));
        return error_;
    }

#ifdef __cpp_exceptions
    /** @throws Failure */
    Value orThrow() &&
    {
        return std::move(value());
    }
#endif

private:
    Value& value()
    {
        if (!*this) wrongSide(error_);
        return value_.get();
    }
    [[noreturn]] static void wrongSide(Error error)
    {
#ifdef __cpp_exceptions
        throw Failure(std::move(error));
#else
        std::fprintf(stderr, "qvrfutil: the wrong side of a Result was taken: %s\n", error.text().c_str());
        std::abort();
#endif
    }

    detail::Maybe<Value> value_;
    Error                error_;
};

struct Nothing {};
/** Of an operation that only succeeds or fails. */
using Done = Result<Nothing>;

}  // namespace qvrfutil

#endif
