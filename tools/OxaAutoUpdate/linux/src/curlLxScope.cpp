/** @file curlLxScope.cpp  The way to link-local addresses, which every interface of the host has neighbours at. */
#include <arpa/inet.h>
#include <dirent.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "curlLx.h"
#include "qvisocppsecurecompat.h"

namespace qvrf {
namespace {

constexpr char kInterfaces[]   = "/sys/class/net";
constexpr char kUsbNicsWords[] = "7a3e/c051";  // vendor and product, as the kernel writes them

/** Whether the device behind an interface is the USB NIC. No shell looks it up here: this is asked at every request. */
bool isUsbNic(const char* name) noexcept
{
    char path[sizeof kInterfaces + NAME_MAX + sizeof "//device/uevent"] = {};
    sprintf_s(path, sizeof path, "%s/%s/device/uevent", kInterfaces, name);
    const File words(std::fopen(path, "re"));
    char       line[256];
    while (words && std::fgets(line, sizeof line, words.get()) != nullptr)
        if (std::strstr(line, kUsbNicsWords) != nullptr) return true;
    return false;
}

/** 0: there is no USB NIC. */
unsigned usbNicIndex() noexcept
{
    const Directory interfaces(::opendir(kInterfaces));
    while (const dirent* const entry = interfaces ? ::readdir(interfaces.get()) : nullptr)
        if (entry->d_name[0] != '.' && isUsbNic(entry->d_name)) return if_nametoindex(entry->d_name);
    return 0;
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
    if (address == nullptr || !needsScope(address)) return;
    if (const unsigned index = usbNicIndex(); index != 0)
        setOption(op, easy, QVRF_OPT(CURLOPT_ADDRESS_SCOPE), static_cast<long>(index));
}

}  // namespace qvrf
