/**
 * @file BenchPlatform.h
 * The platform's symbols on the bench: every function of platform/include, scripted, and noted in the transcript.
 *
 * Script what the BMC will be asked, in order, across all of its channels, and what it answers. In a request "**"
 * stands for any byte or word. Traffic that the script does not await is a complaint, and so is an exchange that never
 * took place; once a failure was put in (LibraryCalls.h), the script no longer binds. The rest answers from Settings.
 *
 * Any thread may call the platform's symbols; scripting belongs to the test's own thread.
 */
#ifndef BENCHPLATFORM_H
#define BENCHPLATFORM_H

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "LibraryCalls.h"
#include "qvhipm.h"
#include "smsecure.h"
#include "smsupport.h"

namespace rig {

/** Which symbol an exchange comes in by. */
enum class Channel { ipmi, commandLine, value, userSet };

/** One awaited exchange with the BMC and its answer. */
struct Exchange {
    Channel                    channel;
    std::string                request;       ///< the bytes "C0 BF 01", or the command line
    s32                        status = 0;    ///< raw IPMI: anything but 0 is no exchange at all
    std::optional<std::string> text{};        ///< a command line's reply
    std::optional<s32>         leftStatus{};  ///< what the platform writes to a raw record's Status
    /** Raw IPMI; the first two bytes follow from the request. Only these are written to the record, and no more than it
     * asked for; what lay behind them stays. */
    std::vector<u8> reply{0, 0, 0};

    void put(std::size_t at, const std::vector<u8>& bytes);
};

/** What the platform's services answer apart from the script. */
struct Settings {
    std::map<std::string, u32>                 users;         ///< their slots; any other has none
    std::map<std::pair<u32, u32>, std::string> paths;         ///< {product id, path type}: any other is not found
    std::map<std::string, s32>                 statuses;      ///< by symbol; of any other 0
    std::map<std::string, std::deque<s32>>     nextStatuses;  ///< by symbol: of its next calls, before those
    std::string                                loginToken    = "header.payload.signature";
    s32                                        firmwareMajor = 7, firmwareMinor = 10, freeSlot = 0;
    std::size_t                                untoldLogin = 0;  ///< characters of it that its length leaves out
};

class Platform : public Settings {
public:
    /** The one that the symbols belong to. */
    static Platform& instance();

    /** Forgets script, records and settings. Blocks that are still out are forgotten, not freed. */
    void restart();

    Exchange& expect(Channel channel, const std::string& request);
    /** From now on no block may be given back to SMFreeMem with this text in it. */
    void mustBeWiped(const std::string& secret) { secrets_.push_back(secret); }

    std::size_t logged(const std::string& part) const;  ///< the lines of either log with this in them
    /** What was wrong: unexpected and missing traffic, a foreign mutex, a secret, blocks, locks or threads left. */
    std::vector<std::string> complaints(bool scriptBinds) const;

    // For the symbols.
    void     complain(const std::string& what);
    void*    allocate(u32 size);
    astring* newText(const std::string& text);  ///< handed out by the platform: counted until SMFreeMem
    void     release(void* memory);
    void     print(const std::string& line);
    booln    ipmi(EsmIPMICmdIoctlReq* request, EsmIPMICmdIoctlReq* response);
    s32      text(Channel channel, const char* symbol, const astring* command, std::optional<std::string>& reply);
    s32      statusOf(const std::string& symbol);

    std::atomic<int> threads{0}, locked{0};  ///< that run and mutexes that are held

private:
    Exchange* next(Channel channel, const std::string& request);

    mutable std::recursive_mutex guard_;
    std::deque<Exchange>         script_;
    std::size_t                  done_ = 0;
    std::vector<std::string>     complaints_, log_, secrets_;
    std::vector<u8>              lastReply_;
    std::map<void*, u32>         blocks_;  // with their sizes
};

inline Platform& platform()
{
    return Platform::instance();
}

inline std::string textOf(const astring* text)
{
    return text ? text : "";
}

/** "C0 BF 01" for bytes. */
std::string hexOf(const u8* bytes, std::size_t count);

/** Notes a call of a symbol: "SMMutexLock 500". @return 1 when a failure was put in, else its status in Settings */
template <class... Arguments>
s32 statusOf(const char* symbol, const Arguments&... arguments)
{
    std::ostringstream line;
    line << symbol;
    ((line << ' ' << arguments), ...);
    note(line.str());
    return fails(symbol) ? 1 : platform().statusOf(symbol);
}

}  // namespace rig

#endif
