/** @file Faults.h  Misbehaviour on request: what the next HTTP responses and IPMI replies do wrong. */
#ifndef TORVOSIM_FAULTS_H
#define TORVOSIM_FAULTS_H

#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Support.h"

namespace torvosim {

/** Everything that goes wrong with one HTTP response. */
struct HttpFaults {
    unsigned                                         delayMs = 0;
    std::optional<int>                               status;
    std::optional<std::uint64_t>                     cutAfter;  ///< bytes of the response, its header among them
    std::vector<std::string>                         drop;
    std::vector<std::string>                         duplicate;
    std::vector<std::pair<std::string, std::string>> add;
    std::optional<std::uint64_t>                     endlessHeader;  ///< bytes of header lines at most
    std::optional<std::string>                       raw;            ///< sent as it is, then the connection closes
};

enum class HttpFaultKind { delay, status, cut, dropHeader, duplicateHeader, addHeader, endlessHeader, raw };

struct HttpFaultRule {
    HttpFaultKind           kind   = HttpFaultKind::delay;
    std::uint64_t           number = 0;  ///< milliseconds, status code or bytes, as the kind has it
    std::string             name;        ///< header name, or the raw text
    std::string             value;
    std::string             method     = "*";
    std::string             pathPrefix = "/";
    std::optional<unsigned> uses;  ///< left; nothing: until cleared
};

/** Everything that goes wrong with one IPMI reply. */
struct IpmiFaults {
    std::optional<std::uint8_t> completion;
    bool                        silent  = false;
    unsigned                    delayMs = 0;
    std::optional<std::size_t>  keepBytes;  ///< reply data cut to so many bytes, completion code among them
    std::size_t                 extraBytes = 0;
    std::optional<Bytes>        data;     ///< reply data instead of the right one
    std::optional<Bytes>        garbage;  ///< on the wire instead of a frame
};

enum class IpmiFaultKind { completion, silent, delay, shorten, lengthen, data, garbage };

struct IpmiFaultRule {
    IpmiFaultKind               kind = IpmiFaultKind::completion;
    std::optional<std::uint8_t> netFn;    ///< nothing: any
    std::optional<std::uint8_t> command;  ///< nothing: any
    std::uint64_t               number = 0;
    Bytes                       bytes;
    unsigned                    uses = 1;
};

class Faults {
public:
    void add(HttpFaultRule rule);
    void add(IpmiFaultRule rule);
    /** What applies to this request; every rule that does has one use less afterwards. */
    HttpFaults take(std::string_view method, std::string_view path);
    IpmiFaults take(std::uint8_t netFn, std::uint8_t command);
    void       clear();
    /** One readable line for each rule in force. */
    std::vector<std::string> describe();

private:
    struct State {
        std::list<HttpFaultRule> http;
        std::list<IpmiFaultRule> ipmi;
    };
    Guarded<State> state_;
};

}  // namespace torvosim

#endif
