/** @file cold_raw.cpp  cold_raw PORT: login, one GET and logout as a small program with libcurl alone does them. */
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "coldpath.h"
#include "rawcurl.h"

namespace {

using namespace bench;

/** What stands behind @p name in the head of @p answer. */
std::string fieldOf(const RawAnswer& answer, const std::string& name)
{
    const char* const found = std::strstr(answer.header.bytes, ("\r\n" + name + ": ").c_str());
    if (found == nullptr) throw std::runtime_error("no " + name);
    const char* const value = found + name.size() + 4;
    return {value, std::strcspn(value, "\r\n")};
}

void check(const RawAnswer& answer, long http)
{
    if (answer.http != http) throw std::runtime_error("HTTP " + std::to_string(answer.http));
}

void session(const std::string& port)
{
    RawAnswer login, system, logout;
    rawPost({port, "/redfish/v1/SessionService/Sessions", {}}, R"({"UserName":"root","Password":"simulator"})", login);
    check(login, 201);
    const std::string token = fieldOf(login, "X-Auth-Token");
    rawGet({port, kColdPath, token}, system);
    check(system, 200);
    rawDelete({port, fieldOf(login, "Location"), token}, logout);
    check(logout, 200);
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        if (argc != 2) throw std::invalid_argument("usage: cold_raw PORT");
        session(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "cold_raw: %s\n", error.what());
        return 1;
    }
}
