/** @file Bmc.h  Everything that makes up the simulated BMC, for its services to share. */
#ifndef TORVOSIM_BMC_H
#define TORVOSIM_BMC_H

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <string>

#include "BmcRestart.h"
#include "BootOverride.h"
#include "EventHub.h"
#include "EventLogs.h"
#include "Faults.h"
#include "Firmware.h"
#include "KsLog.h"
#include "Link.h"
#include "LoginTokens.h"
#include "QueryOptions.h"
#include "RedfishTree.h"
#include "Sensors.h"
#include "ServerPower.h"
#include "Sessions.h"
#include "Stats.h"
#include "Support.h"
#include "Tasks.h"
#include "Trace.h"
#include "UserDatabase.h"
#include "torvosim.h"

namespace torvosim {

/** What the BMC says about itself over IPMI and its command line; tests change it while it runs. */
struct Facts {
    std::uint8_t  firmwareMajor  = 7;
    std::uint8_t  firmwareMinor  = 10;
    std::uint16_t firmwareBuild  = 30;
    std::string   packageVersion = "5.2.0";  ///< of the update package held; empty: none
    std::string   agentVersion   = "5.1.0";  ///< as recorded for the installed agent

    std::string                  usbNicAddress = "169.254.1.1";  ///< may be ill-formed on purpose
    std::array<std::uint8_t, 16> usbNicV6{};
    std::uint16_t                httpsPort     = 0;
    bool                         usbNicHasPort = true;  ///< "address#port", else the address alone
    bool                         urlBlockEmpty = false;

    std::string webServer = "Enabled";
    std::string redfish   = "Enabled";

    std::uint8_t globalEnables = 0;  ///< as the host's driver has set them; bit 0: interrupts for replies

    std::uint8_t passThroughMode = 0;  ///< 0 off, 21 on
    std::string  passThroughBmcAddress;
    std::string  passThroughHostAddress;
    Bytes        passThroughSubnet = Bytes(4);
    Bytes        passThroughVlan   = Bytes(2);
};

/** How a change has to name the state that it is for, with If-Match: not at all, somehow, or by a strong tag. */
enum class Conditions { optional, required, strong };
/** The ways in of an update: each offers those before it as well. */
enum class UpdateWays { none, simple, push, multipart };
/** Whether users stand in sixteen slots, or are made and removed. */
enum class AccountKind { slots, collection };

struct Bmc {
    explicit Bmc(const Options& settings) : options(settings) {}

    const Options          options;
    std::unique_ptr<Link>  link;  ///< nothing: the BMC is on the host's own network
    Guarded<Facts>         facts;
    Trace                  trace;
    Stats                  stats;
    Faults                 faults;
    UserDatabase           users;
    LoginTokens            tokens;
    KsLog                  ksLog;
    Sessions               sessions;
    RedfishTree            tree;
    EventHub               events;
    ServerPower            power;
    Sensors                sensors;
    Tasks                  tasks;
    Guarded<FirmwareState> firmware;
    BmcRestart             restart;
    EventLogs              logs;
    QueryManners           queries;
    Guarded<BootOverride>  boot;
    /** Merged into what is read at a path: what tests say of a resource's health. */
    Guarded<std::map<std::string, Json>> overlays;
    std::string                          stateDir;

    std::atomic<bool> stopRequested{false};
    Descriptor        stopEvent;  ///< eventfd: readable once a stop was asked for
    /** DELETE of a session answers 200 with a body, else 204 without. */
    std::atomic<bool>        sessionDeleteBody{true};
    std::atomic<Conditions>  conditions{Conditions::optional};
    std::atomic<UpdateWays>  updateWays{UpdateWays::multipart};
    std::atomic<AccountKind> accountKind{AccountKind::slots};

    /** Whether the resources are the simulator's own, not those of a mockup. */
    bool isBuiltIn() const { return options.mockupDir.empty(); }
};

/** One named fact: how it is read and written as text. */
struct FactRow {
    const char* name;
    const char* meaning;
    std::string (*read)(const Facts&);
    bool (*write)(Facts&, const std::string&);  ///< false: not a value for it; nothing changed
};
/** Every fact that options and control words can set. */
extern const std::array<FactRow, 13> kFacts;
const FactRow*                       findFact(std::string_view name);

}  // namespace torvosim

#endif
