/**
 * @file settings.h
 * The configuration of the reference platform: key=value lines of the agent's registration file.
 */
#ifndef SETTINGS_H
#define SETTINGS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvplatform {

enum class LogLevel { off, error, trace };

/** Where the BMC is reached. */
struct Endpoint {
    enum class Kind { device, unixSocket, tcp };
    Kind        kind  = Kind::device;
    std::string place = "/dev/ipmi0";  ///< device, path of the socket, or host
    std::string port;                  ///< tcp alone
};

struct Settings {
    std::string varDataPath;                             ///< suptlib.vardatapath
    std::string installPath = "/opt/zelmar/kappel/Oxa";  ///< suptlib.installpath
    LogLevel    logLevel    = LogLevel::off;             ///< suptlib.loglevel
    std::string logFile;                                 ///< suptlib.logfile
    Endpoint    endpoint;                                ///< hipm.endpoint
    std::string tokenKeyFile;                            ///< secure.tokenkey

    std::string file;  ///< that they were read from; empty: there is none that counts
    /** Why there are none: what is wrong with the file that somebody named, and where. Nothing is reached then. */
    std::string problem;
};

/** Settings with one sentence for every line that could not be used, its number first; its default stands then. */
struct Reading {
    Settings                 settings;
    std::vector<std::string> complaints;
};

/** Reads the text of a configuration file. Keys of other owners are left alone; of two equal keys the last counts. */
Reading readSettings(std::string_view text);

/** "device:/path", "unix:/path" or "tcp:host:port" (an IPv6 address in brackets); nothing for anything else. */
std::optional<Endpoint> parseEndpoint(std::string_view text);

/** A place where the configuration may stand. */
struct Candidate {
    std::string path;
    bool        named = false;  ///< somebody asked for this very file: no other stands in for it
};

/**
 * The settings in the first candidate that exists; the defaults when none does. The settings name files that root
 * writes and programs that root runs: a file that others can write or replace is left out, and where it was named, or
 * is absent or malformed, that is the settings' problem.
 */
Reading readFirst(const std::vector<Candidate>& candidates);

/** This process's settings, read when first asked for; complaints go to the system's log. Any thread. */
const Settings& settings();
/** The same, with what was complained of. */
const Reading& processReading();

}  // namespace qvplatform

#endif
