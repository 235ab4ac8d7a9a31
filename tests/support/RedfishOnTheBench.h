/** @file RedfishOnTheBench.h  The fixture of tests that talk HTTPS to a scripted BMC. */
#ifndef REDFISHONTHEBENCH_H
#define REDFISHONTHEBENCH_H

#include <cstring>

#include "BmcOnTheBench.h"
#include "FailingCurl.h"
#include "TlsResponder.h"
#include "qvrfutil.h"

constexpr char kToken[]      = "0123456789abcdef0123456789ABCDEF";
constexpr char kOtherToken[] = "fedcba9876543210FEDCBA9876543210";

/** The library started, its endpoint set to a scripted TLS server, newer generation. */
class RedfishOnTheBench : public BmcOnTheBench {
protected:
    void SetUp() override
    {
        BmcOnTheBench::SetUp();
        start();
    }

    void TearDown() override
    {
        stop();
        BmcOnTheBench::TearDown();
    }

    void start()
    {
        bench::failCurlCall(0);
        QVRFUTILInit(FALSE);
        g_isRedfishSessionRequested = FALSE;
        std::string address = "127.0.0.1", port = server.port();
        QVRFUTILSetIPAddress(address.data(), port.data(), FALSE);
    }

    void stop()
    {
        QVRFUTILCleanUp();
        g_RedfishSession        = QVRFUTILSession{};
        giSServerNewGenAndAbove = FALSE;
    }

    /** Puts a session into the record, as QVRFUTILCreateSession would. */
    void haveSession(const std::string& token = kToken, const std::string& id = "7")
    {
        astring  output[SMSECURE_OUTPUT_SIZE];
        astring *text = nullptr, *key = nullptr;
        ASSERT_EQ(SMqvoxaPBKDF2Encrypt(token.c_str(), static_cast<u32>(token.size()), output, &text, &key), 0);
        put(g_RedfishSession.pb64Text, text);
        put(g_RedfishSession.pb64Key, key);
        put(g_RedfishSession.EncryptedSessionToken, output);
        put(g_RedfishSession.SessionID, id);
        put(g_RedfishSession.UserName, "root");
        put(g_RedfishSession.Privilege, "root");
        g_RedfishSession.isOAuth = TRUE;
        SMFreeMem(text);
        SMFreeMem(key);
    }

    /** The exchanges in which an older generation tells firmware version, IPv4 address and port. */
    void expectFirmware() { bmc.expect("C0 BF 01").answersAt(3, "07 0A"); }
    void expectIPv4()
    {
        bmc.expect("C0 D6 01 00 01 00 00 00").answersBe16(7, 16);
        bmc.expect("C0 D6 01 00 10 00 00 00").answersText("127.0.0.1#4433");
    }
    void expectPort()
    {
        bmc.expect("18 59 00 DE 00 00");
        bmc.expectCommandLine("vorsk get torvo.webserver.httpsport")
            .replies("[Key=torvo.WebServer.1]\nHttpsPort=" + server.port() + "\n");
    }
    void expectDiscovery()
    {
        expectFirmware();
        expectIPv4();
        expectPort();
    }

    /** The session service's answer to a login. */
    void answerLogin(const std::string& token = kOtherToken, const std::string& id = "8")
    {
        server.answer(201, "{}",
                      "X-Auth-Token: " + token + "\r\nLocation: /redfish/v1/SessionService/Sessions/" + id + "\r\n");
    }

    template <std::size_t N>
    static void put(astring (&field)[N], const std::string& text)
    {
        std::memset(field, 0, N);
        std::memcpy(field, text.data(), std::min(text.size(), N - 1));
    }

    bench::TlsResponder server;
};

#endif
