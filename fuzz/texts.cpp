/** @file texts.cpp  Versions, ports, URLs and addresses as the BMC tells them. */
#include <arpa/inet.h>

#include <cstring>
#include <string>

#include "OxaAutoUpdateLinuxDecide.h"
#include "OxaAutoUpdateUtilsDecode.h"
#include "fuzz.h"
#include "osprivlegeArp.h"

FUZZ(versions)
{
    const auto first = fuzz::text(in.line()), second = fuzz::text(in.line());
    const auto there = qvrf::decideUpdate(first.data(), second.data());
    fuzz::hold(!(there.due && qvrf::decideUpdate(second.data(), first.data()).due), "only one of two is newer");
    fuzz::hold(!qvrf::decideUpdate(first.data(), first.data()).due, "nothing is newer than itself");
    if (const auto version = qvrf::recordedAgentVersion(in.rest())) fuzz::hold(version->size() <= 9, "9 characters");
    qvrf::namesPackage(first.data());
    const bool leadsUp = ('/' + std::string(first.data()) + '/').find("/../") != std::string::npos;
    fuzz::hold(qvrf::staysBelow(first.data()) != leadsUp, "a path stays below where it begins unless it leads up");
}

FUZZ(urls)
{
    auto url = fuzz::text(in.line()), reply = fuzz::text(in.rest());
    bool hasHost = false;
    for (const astring* port : {qvrf::portInUrl(url.data(), hasHost), qvrf::portInCommandReply(reply.data())})
        fuzz::hold(port == nullptr || std::strlen(port) < url.size() + reply.size(), "a part of the text");
    char cut[8];
    qvrf::copyCut(cut, sizeof cut, url.data());
    if (const auto address = qvrf::addressPart(url.data()))
        fuzz::hold(address->find('#') == std::string_view::npos, "what stands before the sign");
}

FUZZ(arp_answers)
{
    sockaddr_ll station{};
    const auto  bytes = in.take(sizeof station);
    std::memcpy(&station, bytes.data(), bytes.size());
    if (qvrf::hasUsableHardwareAddress(station))
        fuzz::hold(qvrf::arpRequest(station, {1}, {2}).size == 16U + 2U * station.sll_halen, "two stations, two hosts");
    qvrf::isNobody(qvrf::stationText(qvrf::everybodyOn(station)));
    in_addr bmc{};
    std::memcpy(&bmc, station.sll_addr, sizeof bmc);
    const in_addr beside = qvrf::addressBeside(bmc);
    fuzz::hold(beside.s_addr != bmc.s_addr && ntohl(beside.s_addr) % 256 != 0, "another address of the same network");
}
