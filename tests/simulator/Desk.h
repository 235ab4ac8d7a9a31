/** @file Desk.h  A simulator of its own for each test, with the clients that look at it. */
#ifndef TESTS_SIMULATOR_DESK_H
#define TESTS_SIMULATOR_DESK_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>

#include "HttpClient.h"
#include "IpmiClient.h"
#include "torvosim.h"

class Desk : public testing::Test {
protected:
    using Json = nlohmann::json;

    torvosim::Simulator& start(torvosim::Options options = {})
    {
        simulator_.emplace(std::move(options));
        simulator_->start();
        return *simulator_;
    }
    torvosim::Simulator& sim() { return simulator_ ? *simulator_ : start(); }

    std::string url(const std::string& path) { return "https://127.0.0.1:" + std::to_string(sim().httpsPort()) + path; }
    /** A control line that is expected to be accepted. */
    Json control(const std::string& line)
    {
        Json answer = Json::parse(sim().control(line));
        EXPECT_TRUE(answer["ok"].get<bool>()) << line << ": " << answer;
        return answer;
    }
    std::string fact(const std::string& name) { return control("get " + name)["facts"][name].get<std::string>(); }

    HttpAnswer call(const std::string& method, const std::string& path, const std::string& body = {})
    {
        HttpCall request{method, url(path)};
        request.body = body;
        if (!token_.empty()) request.headers.push_back("X-Auth-Token: " + token_);
        return perform(request);
    }
    HttpAnswer get(const std::string& path) { return call("GET", path); }

    HttpAnswer logInWithPassword(const std::string& user = "root", const std::string& password = "simulator")
    {
        HttpCall request{"POST", url("/redfish/v1/SessionService/Sessions")};
        request.body = Json{{"UserName", user}, {"Password", password}}.dump();
        return perform(request);
    }
    /** Opens a session; call() and get() use it from here on. */
    void logIn()
    {
        const HttpAnswer answer = logInWithPassword();
        ASSERT_EQ(answer.status, 201) << answer.body;
        token_ = answer.value("X-Auth-Token");
    }

    /** Waits until a counter of the simulator has that value. */
    bool reaches(const char* counter, std::uint64_t value)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (control("stats")[counter].get<std::uint64_t>() != value) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::yield();
        }
        return true;
    }

    std::optional<torvosim::Simulator> simulator_;
    std::string                        token_;
};

#endif
