/** @file UsbNicTest.cpp  Finding, setting up and probing the USB NIC: what travels, what the kernel then knows, what is
 * logged. */
#include <fcntl.h>
#include <net/if.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdarg>

#include "Cases.h"
#include "Sandbox.h"
#include "osprivlege.h"

namespace {

std::string           g_log;          // the lines of both levels
std::vector<unsigned> g_pauses;       // between two requests: they pass at once
bool                  g_inheritable;  // a socket that a child process would get
bool                  g_wakened;      // the next pause ends a second early
std::function<void()> g_meanwhile;    // happens during the wait for the carrier

const Bytes kReply =
    cases::bytesOf("02005e100001 02005e100002 0806 0001 0800 06 04 0002 02005e100002 a9fe0001 02005e100001 a9fe0002");

/** The BMC at the far end, whose turn is the library's wait: keeps every ARP frame, and answers while it has answers.
 */
struct Bmc {
    explicit Bmc(std::vector<Bytes> toSend = {}) : answers(std::move(toSend)), end(bmcsEnd()) { g_bmc = this; }
    ~Bmc() { g_bmc = nullptr; }
    void turn()
    {
        Bytes   frame(16384);
        pollfd  arrival{end.get(), POLLIN, 0};
        ssize_t size = -1;  // the link may have been down: the socket says so once
        while (size < 0 && ::poll(&arrival, 1, 1000) == 1) size = ::recv(end.get(), frame.data(), frame.size(), 0);
        if (size < 0) return;
        frame.resize(static_cast<std::size_t>(size));
        heard.push_back(frame);
        if (heard.size() <= answers.size())
            ::send(end.get(), answers[heard.size() - 1].data(), answers[heard.size() - 1].size(), 0);
    }
    std::vector<Bytes> answers, heard;
    qvrf::Descriptor   end;
    static Bmc*        g_bmc;
};
Bmc* Bmc::g_bmc = nullptr;

}  // namespace

// They stand in for the platform's and the C library's.
#define KEEPS_LINES(symbol)                            \
    extern "C" s32 symbol(const astring* format, ...)  \
    {                                                  \
        char         line[8192];                       \
        std::va_list arguments;                        \
        va_start(arguments, format);                   \
        std::vsnprintf(line, 8192, format, arguments); \
        va_end(arguments);                             \
        g_log += line;                                 \
        return 0;                                      \
    }
KEEPS_LINES(__SysDbgPrint3)
KEEPS_LINES(__SysDbgPrint4)

extern "C" unsigned sleep(unsigned seconds)
{
    g_pauses.push_back(seconds);
    return std::exchange(g_wakened, false) ? 1 : 0;
}

extern "C" int select(int end, fd_set*, fd_set*, fd_set*, timeval* limit)
{
    EXPECT_EQ(limit->tv_sec, 5);
    g_inheritable = g_inheritable || (::fcntl(end - 1, F_GETFD) & FD_CLOEXEC) == 0;
    if (Bmc::g_bmc != nullptr) Bmc::g_bmc->turn();
    const bool answered = Bmc::g_bmc != nullptr && Bmc::g_bmc->heard.size() <= Bmc::g_bmc->answers.size();
    pollfd     watched{end - 1, POLLIN, 0};
    return ::poll(&watched, 1, answered ? 500 : 0);
}

// Looking for the carrier again at once, but for one that came late: the far end's kernel then takes its moment.
extern "C" int nanosleep(const timespec* pause, timespec*)
{
    static bool cameLate = false;
    if (cameLate) return ::clock_nanosleep(CLOCK_MONOTONIC, 0, pause, nullptr);
    if (const auto meanwhile = std::exchange(g_meanwhile, nullptr)) meanwhile(), cameLate = true;
    return 0;
}

namespace {

class UsbNic : public OnTheLink {
protected:
    void SetUp() override
    {
        g_log.clear();
        g_pauses.clear();
        g_inheritable = false, g_wakened = false;
        OnTheLink::SetUp();
    }
};

void expectLogged(const std::string& line)
{
    EXPECT_NE(g_log.find(line), g_log.npos) << "'" << line << "' is missing in:\n" << g_log;
}

/** The request for 169.254.0.1 as it travels. @param sender  the host's address, hexadecimal */
Bytes requestFrom(const std::string& sender)
{
    return cases::bytesOf("ffffffffffff 02005e100001 0806 0001 0800 06 04 0001 02005e100001" + sender +
                          "02005e100001 a9fe0001");
}

u8 probe(unsigned requests = 1, std::string name = "usb0", std::string bmc = "169.254.0.1")
{
    return OSSendARPProbeToTorvo(name.data(), requests, 7, bmc.data());
}

TEST_F(UsbNic, ProbeFindsOrGivesTheHostsAddressBesideTheBmcs)
{
    for (const cases::Row& row : cases::casesOf("probes")) {
        SCOPED_TRACE(row[0]);
        const Link link;
        run(row[0]);
        Bmc bmc({kReply});
        EXPECT_EQ(probe(), 0);
        EXPECT_EQ(bmc.heard, std::vector<Bytes>{requestFrom(row[1])});
        EXPECT_EQ(ipv4Of("usb0"), row[2]);
        EXPECT_EQ(flagsOf("usb0") & (IFF_UP | IFF_RUNNING), unsigned{IFF_UP | IFF_RUNNING});
        expectLogged(row[3]);
    }
    const Link link;
    for (const cases::Row& row : cases::casesOf("neighbours")) {
        run("ip addr flush dev usb0");
        EXPECT_EQ(probe(1, "usb0", "169.254.7." + row[0]), 1);
        EXPECT_EQ(ipv4Of("usb0"), "169.254.7." + row[1] + ' ');
    }
}

TEST_F(UsbNic, ProbeSleepsBetweenRequestsOnlySleepsThroughAndEndsWithTheFirstThatNobodyAnswers)
{
    const Link link;
    Bmc        bmc(std::vector<Bytes>(5, kReply));
    g_wakened = true;
    EXPECT_EQ(probe(5), 0);
    EXPECT_EQ(bmc.heard, std::vector<Bytes>(5, requestFrom("a9fe0002")));
    EXPECT_EQ(g_pauses, (std::vector<unsigned>{7, 1, 7, 7, 7}));
    EXPECT_FALSE(g_inheritable);
    EXPECT_EQ(probe(5), 1);
    EXPECT_EQ(bmc.heard.size(), 6U);
}

TEST_F(UsbNic, ProbeIsAnsweredByWhateverArrives)
{
    Bytes nobody = kReply, foreign = kReply, other = kReply, longest = kReply;
    std::fill_n(nobody.begin() + 6, 6, 0);
    foreign[6] = 0x42;
    other[13]  = 0x07;
    longest.resize(8900);
    const struct {
        Bytes       frame;
        u8          result;
        const char* line;
    } rows[] = {{foreign, 0, "dest mac addr = 42:0:5e:10:0:2\n"},
                {longest, 0, "OSSendARPProbeToTorvo: arp response recieved..\n"},
                {{kReply.begin(), kReply.begin() + 15}, 0, "exit,retcode=0\n"},
                {nobody, 1, "the answer is from a station without address\n"},
                {other, 1, "OSGetUSBNICInterfaceIP4Addr: recvfrom() call failed\n"}};
    for (const auto& row : rows) {
        const Link link;
        Bmc        bmc({row.frame});
        EXPECT_EQ(probe(), row.result) << row.line;
        expectLogged(row.line);
    }
}

TEST_F(UsbNic, ProbeWaitsForTheCarrierOfAnInterfaceThatItBroughtUp)
{
    const Link link;
    Bmc        bmc({kReply});
    onTheBmc([] { run("ip link set bmc0 down"); });
    g_meanwhile = [] { onTheBmc([] { run("ip link set bmc0 up"); }); };
    EXPECT_EQ(probe(), 0) << g_log;
    EXPECT_EQ(g_meanwhile, nullptr) << "it did not wait";
    EXPECT_EQ(bmc.heard.size(), 1U);
}

TEST_F(UsbNic, ProbeWorksBehindAThousandOpenFiles)
{
    const Link link;
    Bmc        bmc({kReply});
    EXPECT_EQ(inAnotherProcess([] {
                  const rlimit files{4096, 4096};
                  if (::setrlimit(RLIMIT_NOFILE, &files) != 0) return 99;
                  while (::open("/dev/null", O_RDONLY) < 1100) continue;
                  return probe() == 0 && Bmc::g_bmc->heard.size() == 1 ? 0 : 1;
              }),
              0);
}

TEST_F(UsbNic, FlagsReplaceWhatWasThere)
{
    const Link link;
    char       name[] = "usb0";
    run("ip link set usb0 arp off promisc on");
    EXPECT_EQ(SetIFFlags(name, IFF_UP, AF_INET), 0);
    EXPECT_EQ(flagsOf("usb0") & (IFF_UP | IFF_NOARP | IFF_PROMISC), unsigned{IFF_UP});
    EXPECT_EQ(SetIFFlags(name, 0, AF_INET6), 0);
    EXPECT_EQ(flagsOf("usb0") & IFF_UP, 0U);
    expectLogged("SetIFFlags: Interface 'usb0': flags set to 0000.\n");
}

TEST_F(UsbNic, AddressesAreJudgedByTheHostsList)
{
    for (const cases::Row& row : cases::casesOf("addresses")) {
        SCOPED_TRACE(row[0]);
        const Link  link;
        std::string asked = row[1];
        const booln ipv6  = row[2] == "1";
        run(row[0]);
        EXPECT_EQ(std::to_string(LXcheckHostIPVersion(asked.data(), ipv6)), row[3]);
        EXPECT_EQ(std::to_string(LXcheckIFIPConfigured(asked.data(), ipv6)), row[4]);
        expectLogged(row[5]);
    }
}

TEST_F(UsbNic, PolicyMakesTheAddressFollowTheHardwareAndWaitsForTheCarrier)
{
    const Link link;
    char       name[] = "usb0";
    run("ip link set usb0 addrgenmode none");
    EXPECT_EQ(SetAddrGenModePolicyForUSBNICIPV6(name), 0);
    EXPECT_NE(flagsOf("usb0") & IFF_RUNNING, 0U);
    run("ip -d link show usb0 | grep -q 'addrgenmode eui64'");
    run("timeout 5 sh -c 'until ip -6 addr show dev usb0 | grep -q fe80::5eff:fe10:1/64; do sleep 0.02; done'");
    run("ip link set usb0 addrgenmode none");  // there is an address now: the mode is left alone
    EXPECT_EQ(SetAddrGenModePolicyForUSBNICIPV6(name), 0);
    EXPECT_NE(flagsOf("usb0") & IFF_RUNNING, 0U);
}

TEST_F(UsbNic, PolicyWithoutTheCommandReturnsInBothProcesses)
{
    const Link link;
    run("ip link set usb0 addrgenmode none");
    int returns[2];
    ASSERT_EQ(::pipe2(returns, O_CLOEXEC), 0);
    const qvrf::Descriptor reading(returns[0]), writing(returns[1]);
    EXPECT_EQ(inAnotherProcess([&] {
                  const pid_t self   = ::getpid();
                  char        name[] = "usb0";
                  ::setenv("PATH", "/nonexistent", 1);
                  const s32 result = SetAddrGenModePolicyForUSBNICIPV6(name);
                  return ::write(writing.get(), ::getpid() == self ? "p" : "c", 1) == 1 ? static_cast<int>(result) : 99;
              }),
              0);
    char who[3]{};
    EXPECT_EQ(::read(reading.get(), who, 2), 2);
    EXPECT_STREQ(who, "cp") << "the child ends before the parent goes on";
}

}  // namespace
