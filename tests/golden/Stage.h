/** @file Stage.h  What a case sets up for its calls: the library's state, the BMC's answers, the host. */
#ifndef STAGE_H
#define STAGE_H

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchPlatform.h"
#include "Leftovers.h"
#include "TlsResponder.h"
#include "Words.h"

namespace golden {

using Words = std::vector<Word>;

/** Why a case cannot run here. */
struct Skip : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline const Word& wordAt(const Words& words, std::size_t at)
{
    if (at >= words.size()) throw std::runtime_error("too few words after " + words[0].bare());
    return words[at];
}
long numberAt(const Words& words, std::size_t at, long otherwise = 0);

/** A bench of its own: nothing of it outlives it. */
class Stage {
public:
    /** @param plain  HTTPS without TLS, which takes most of a request's time */
    explicit Stage(bool plain);
    ~Stage();
    Stage(Stage&&) = delete;

    /** Does what a line's first word says. @return false for a word that is not the stage's */
    bool take(const Words& words);

    const Variables&   variables() const { return variables_; }
    rig::Platform&     bmc() { return bmc_; }
    rig::TlsResponder& server(bool onIpv6 = false);
    /** The requests that arrived since the last time, into the transcript. */
    void noteRequests();
    /** The files where the library may leave some, with their modes. */
    std::map<std::string, std::string> files() const { return filesBelow(directories_); }

private:
    using Doing = void (*)(Stage&, const Words&);
    static const std::map<std::string, Doing>& doings();
    template <void (Stage::*Method)(const Words&)>
    static void by(Stage& stage, const Words& words)
    {
        (stage.*Method)(words);
    }

    void library(const Words& words);
    void ipmi(const Words& words);
    void exchange(const Words& words);
    void set(const Words& words);
    void package(const Words& words);
    void statuses(const Words& words);
    void firmware(const Words& words);
    void discover(const Words& words);
    void https(const Words& words);
    void login(const Words& words);
    void environment(const Words& words);
    void directory(const Words& words);
    void file(const Words& words);
    void link(const Words& words);
    void privately(const Words& words);

    rig::Platform&                                    bmc_ = rig::Platform::instance();
    Variables                                         variables_;
    std::string                                       slot_ = "5";
    std::unique_ptr<rig::TlsResponder>                server_;
    std::size_t                                       requests_ = 0, sent_ = 0;
    std::vector<std::string>                          directories_;  // of the case and of its private host
    std::map<std::string, std::optional<std::string>> environment_;  // as it was
};

}  // namespace golden

#endif
