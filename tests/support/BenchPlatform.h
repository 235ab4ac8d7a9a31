/**
 * @file BenchPlatform.h
 * The platform's symbols on the bench: every function of platform/include, scripted and recorded by a test.
 *
 * Script what the BMC will be asked, in order, across all of its channels, and what it answers:
 *
 *     bmc.expect("C0 BF 01").preset(1).replyLength(13).answersAt(3, "07 0A");      // raw IPMI
 *     bmc.expect("C0 CF 01 **").completes(0xC1);                                   // refused by the BMC
 *     bmc.expect("18 59 00 DE 00 00").fails();                                     // no exchange at all
 *     bmc.expectCommandLine("vorsk get a.b").replies("b=1\n");                     // QVHIPMVorskPassthru
 *     bmc.expectValue("vorsk get a.enable").replies("Enabled");                    // QVHIPMVorskCmdPassthru
 *     bmc.expectUserSet("vorsk set torvo.users.3.enable 1").fails(7);              // BMCUserSetValueInUserDB
 *
 * The word "**" stands for any byte or word. Traffic that the script does not await fails the test, and so does an
 * exchange that never took place. The rest answers from the plain members (users, token, firmware, ...), which a test
 * sets as it likes. Everything that was asked stands in calls(), every debug line in the log.
 *
 * A failure is put in with failAllocation(n), failCall(n) or a member's status. With failCall the script stops binding
 * once the failure has happened: see walkFailures in BmcOnTheBench.h.
 *
 * Any thread may call the platform's symbols; scripting belongs to the test's own thread.
 */
#ifndef BENCHPLATFORM_H
#define BENCHPLATFORM_H

#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qvhipm.h"
#include "smsecure.h"
#include "smsupport.h"

namespace bench {

/** Which symbol an exchange comes in by. */
enum class Channel { ipmi, commandLine, value, userSet };

/** One awaited exchange with the BMC and its answer. */
class Exchange {
public:
    Exchange(Channel channel, std::string request) : channel_(channel), request_(std::move(request)) {}

    // What the record must carry besides the bytes (raw IPMI).
    Exchange& preset(s32 status);      ///< the record's Status
    Exchange& replyLength(u32 bytes);  ///< RspPhaseBufLen

    // The answer to raw IPMI. Without any: the reply's netFn, the command and completion code 0. Only the bytes of the
    // answer are written to the record, and no more than it asked for; what lay behind them stays.
    Exchange& completes(u8 code);                                 ///< the completion code
    Exchange& answersAt(std::size_t at, const std::string& hex);  ///< these bytes from reply byte @p at on
    Exchange& answersText(const std::string& text, std::size_t at = 10);
    Exchange& answersBe16(std::size_t at, u32 number);  ///< two bytes, high byte first
    Exchange& answersLe16(std::size_t at, u32 number);  ///< two bytes, low byte first
    Exchange& leavesStatus(s32 status);                 ///< what the platform writes to the record's Status

    // The answer to a command line.
    Exchange& replies(std::string text);
    Exchange& repliesNothing();  ///< status 0 and no reply

    /** Raw IPMI: no exchange took place. Others: this status. */
    Exchange& fails(s32 status = 1);

private:
    friend class Platform;
    void put(std::size_t at, const std::vector<u8>& bytes);

    Channel                    channel_;
    std::string                request_;
    std::optional<s32>         preset_;
    std::optional<u32>         replyLength_;
    std::optional<s32>         leftStatus_;
    std::vector<u8>            reply_{0, 0, 0};
    std::optional<std::string> text_;
    s32                        status_ = 0;
};

/** One raw IPMI request as the platform saw it. */
struct IpmiRequest {
    s32             status;
    u32             reqType;
    u8              rsSA;
    u8              channel;
    u32             requestBytes;
    u32             replyBytes;
    std::vector<u8> buffer;      ///< all QVHIPM_BUFFER_SIZE bytes
    bool            sameRecord;  ///< request and response were one record
};

enum class Level { error, trace };
struct LogLine {
    Level       level;
    std::string text;
};

struct OsLogEntry {
    u32         logType, severity, eventId;
    std::string source, message, messageId;
};
struct KsLogEntry {
    std::string              messageId;
    std::vector<std::string> arguments;
};

class Platform {
public:
    /** The one that the symbols belong to. */
    static Platform& instance();

    /** Forgets script, records and settings. Blocks that are still out are forgotten, not freed. */
    void restart();

    // Script. The references live until restart().
    Exchange& expect(const std::string& hex) { return await(Channel::ipmi, hex); }
    Exchange& expectCommandLine(const std::string& command) { return await(Channel::commandLine, command); }
    Exchange& expectValue(const std::string& command) { return await(Channel::value, command); }
    Exchange& expectUserSet(const std::string& command) { return await(Channel::userSet, command); }

    // Settings.
    struct {
        std::map<std::string, u32> slots;  ///< BMCUserGetUserPresence: 0 for any other name
        u32                        freeSlot = 0;
    } users;
    struct {
        s32         generateStatus = 0, getStatus = 0;
        std::string text = "header.payload.signature";
    } token;
    struct {
        s32 encryptStatus = 0, decryptStatus = 0;
    } crypto;  ///< reversible, and nothing else: see BenchSecure.cpp
    struct {
        u16 major = 7, minor = 10, build = 0;
        s32 status = 0;
    } firmware;
    std::map<std::pair<u32, u32>, std::string> paths;  ///< {product id, path type}: any other is not found
    s32                                        signatureStatus = 0;
    s32                                        osLogStatus     = 0;
    std::deque<s32>                            ksLogStatuses;     ///< one a call; 0 when used up
    u32                                        lockTimeouts = 0;  ///< the next locks time out at once

    // Failures.
    void failAllocation(u32 nth);  ///< the n-th SMAllocMem from now on, counted from 1
    void failCall(u32 nth);        ///< the n-th call that can fail, counted from 1; SMAllocMem counts
    /** The symbol that failCall() made fail; empty when so many calls never came. */
    std::string failedCall() const;

    /** From now on no block may be given back to SMFreeMem with this text in it. */
    void mustBeWiped(std::string secret);

    // Records.
    /** Every platform call but memory and debug print, in order: "QVHIPMCommand C0 BF 01", "SMMutexLock 500". */
    std::vector<std::string> calls() const;
    /** The recorded calls of one symbol. */
    std::vector<std::string> callsOf(const std::string& symbol) const;
    std::vector<IpmiRequest> ipmiRequests() const;
    std::vector<u32>         allocations() const;  ///< sizes asked of SMAllocMem
    std::vector<LogLine>     log() const;
    bool                     logged(Level level, const std::string& line) const;  ///< exactly this line, "\n" included
    std::vector<OsLogEntry>  osLog() const;
    std::vector<KsLogEntry>  ksLog() const;
    /** A copy of the texts of the last signature check: common name, key, verify file, sign file, signature directory.
     */
    std::vector<std::string> signatureCheck() const;
    std::size_t              liveBlocks() const;  ///< blocks of SMAllocMem not yet given back
    std::size_t              liveMutexes() const;
    std::size_t              liveThreads() const;

    /** The awaited exchanges that did not take place, in words; empty when all did. */
    std::string missing() const;

    /** What the platform found wrong since the last time: unexpected traffic, a foreign mutex, a secret. */
    std::vector<std::string> takeComplaints();
    std::size_t              heldMutexes() const;  ///< locked by somebody

    // For the symbols.
    void     complain(const std::string& what);  ///< under the platform's own lock or in the test's thread
    void     countHeld(int change);
    bool     failsNow(const char* symbol);
    void     record(const std::string& call);
    void*    allocate(u32 size, bool scripted);
    astring* newText(const std::string& text);  ///< handed out by the platform: counted until SMFreeMem
    void     release(void* memory);
    void     print(Level level, std::string text);
    booln    ipmi(EsmIPMICmdIoctlReq* request, EsmIPMICmdIoctlReq* response);
    s32      text(Channel channel, const char* symbol, const astring* command, std::optional<std::string>& reply);
    bool     takesTimeout();
    s32      nextKsLogStatus();
    void     keep(OsLogEntry entry);
    void     keep(KsLogEntry entry);
    void     keepSignatureCheck(std::vector<std::string> texts);
    void     countMutex(int change);
    void     countThread(int change);

private:
    struct State;
    Platform();
    ~Platform();
    Exchange& await(Channel channel, const std::string& request);
    Exchange* next(Channel channel, const std::string& request);

    mutable std::recursive_mutex guard_;
    std::unique_ptr<State>       state_;
};

/** "C0 BF 01" for bytes. */
std::string hexOf(const u8* bytes, std::size_t count);

}  // namespace bench

#endif
