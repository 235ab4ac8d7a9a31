/** @file DeskBmc.h  The library on the real reference platform, against a simulated BMC in the same process. */
#ifndef DESKBMC_H
#define DESKBMC_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "qvrfutil.h"
#include "smsupport.h"
#include "torvosim.h"

/** The one simulator of a test program; the platform's configuration, read once in a process, points at it. */
inline torvosim::Simulator& theBmc()
{
    static torvosim::Simulator* const bmc = [] {
        torvosim::Options options;
        options.sessionLimit = 200;
        auto* simulator      = new torvosim::Simulator(options);
        simulator->start();
        const std::string path = simulator->stateDir() + "/platform.cfg";
        std::ofstream(path) << simulator->platformConfig();
        setenv("QVPLATFORM_CONFIG", path.c_str(), 1);
        std::atexit([] { theBmc().stop(); });
        return simulator;
    }();
    return *bmc;
}

/** One answered request. */
struct Answer {
    s32         status = -1;
    u16         http   = 0;
    std::string body;
};

inline Answer send(QVRFUTILRequestType type, const char* path, std::string body = "")
{
    std::vector<astring> buffer(256 * 1024);
    astring*             at     = buffer.data();
    u32                  length = 0;
    Answer               answer;
    answer.status = QVRFUTILSendRequest(path, body.data(), &at, static_cast<u32>(buffer.size()), &length, type,
                                        &answer.http, FALSE, nullptr, nullptr);
    if (answer.status == 0) answer.body.assign(buffer.data(), length - 1);
    return answer;
}

class DeskBmc : public testing::Test {
protected:
    /** Starts the library for a generation; on the newer one the endpoint is set as an agent would. */
    void start(bool newer)
    {
        control(std::string("generation ") + (newer ? "new" : "old"));
        QVRFUTILInit(FALSE);
        giSServerNewGenAndAbove = newer ? TRUE : FALSE;
        if (newer) pointAtTheBmc();
    }
    void pointAtTheBmc()
    {
        std::string address = "127.0.0.1", port = std::to_string(bmc.httpsPort());
        QVRFUTILSetIPAddress(address.data(), port.data(), FALSE);
    }
    s32 logIn()
    {
        std::string user = "root", privilege = "root";
        return QVRFUTILCreateSession(user.data(), privilege.data(), 4);
    }
    s32 logOut()
    {
        std::string user = "root";
        return QVRFUTILDeleteSession(user.data(), 4);
    }
    nlohmann::json control(const std::string& line)
    {
        const auto answer = nlohmann::json::parse(bmc.control(line));
        EXPECT_EQ(answer.value("ok", false), true) << line << ": " << answer;
        return answer;
    }
    std::size_t sessions() { return control("stats").at("sessions").get<std::size_t>(); }

    void TearDown() override
    {
        control("clear");
        control("expire");
        QVRFUTILCleanUp();
        g_RedfishSession            = QVRFUTILSession{};
        g_isRedfishSessionRequested = FALSE;
    }

    torvosim::Simulator& bmc = theBmc();
};

#endif
