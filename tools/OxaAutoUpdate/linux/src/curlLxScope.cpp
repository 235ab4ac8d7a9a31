/** @file curlLxScope.cpp  The way to link-local addresses, which every interface of the host has neighbours at. */
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <string_view>

#include "OxaAutoUpdateLinux.h"
#include "curlLx.h"
#include "qvisocppsecurecompat.h"

namespace qvrf {
namespace {

constexpr std::size_t kNameSize = 64;  // what GetUSBNICInterfaceName fills

/** 0: there is no USB NIC. */
unsigned usbNicIndex() noexcept
{
    astring name[kNameSize] = {};
    return GetUSBNICInterfaceName(name) == 0 ? if_nametoindex(name) : 0;
}

}  // namespace

bool needsScope(const char* address) noexcept
{
    const std::size_t length = ::strnlen(address, INET6_ADDRSTRLEN + 2);
    std::string_view  text(address, length);
    if (!text.empty() && text.front() == '[' && text.back() == ']') text = text.substr(1, length - 2);
    astring plain[INET6_ADDRSTRLEN] = {};
    if (text.size() >= sizeof plain || strncpy_s(plain, sizeof plain, text.data(), text.size()) != 0) return false;
    in6_addr parsed{};  // a zone behind a % does not parse
    return inet_pton(AF_INET6, plain, &parsed) == 1 && IN6_IS_ADDR_LINKLOCAL(&parsed);
}

void scopeLinkLocal(const char* op, CURL* easy, const char* address) noexcept
{
    if (!needsScope(address)) return;
    if (const unsigned index = usbNicIndex(); index != 0)
        setOption(op, easy, QVRF_OPT(CURLOPT_ADDRESS_SCOPE), static_cast<long>(index));
}

}  // namespace qvrf
