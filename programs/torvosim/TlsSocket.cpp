/** @file TlsSocket.cpp  The server's certificate, TLS context and TLS connections. */
#include "TlsSocket.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <climits>
#include <stdexcept>

namespace torvosim {

namespace {

using Key         = std::unique_ptr<EVP_PKEY, ReleasedBy<&EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, ReleasedBy<&X509_free>>;
using Bio         = std::unique_ptr<BIO, ReleasedBy<&BIO_free_all>>;
using Extension   = std::unique_ptr<X509_EXTENSION, ReleasedBy<&X509_EXTENSION_free>>;

constexpr long kValidSeconds = 10L * 365 * 24 * 3600;
constexpr long kClockSkew    = 24L * 3600;  // hosts whose clock is a little behind accept it as well

void check(bool good, const char* what)
{
    if (good) return;
    std::array<char, 256> reason{};
    ERR_error_string_n(ERR_get_error(), reason.data(), reason.size());
    throw std::runtime_error(std::string(what) + ": " + reason.data());
}

bool isAddress(const std::string& name)
{
    std::array<unsigned char, 16> bytes{};
    return ::inet_pton(AF_INET, name.c_str(), bytes.data()) == 1 ||
           ::inet_pton(AF_INET6, name.c_str(), bytes.data()) == 1;
}

void addExtension(X509* certificate, int nid, const std::string& value)
{
    const Extension extension(X509V3_EXT_conf_nid(nullptr, nullptr, nid, value.c_str()));
    check(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "certificate extension");
}

Certificate selfSigned(EVP_PKEY* key, const std::vector<std::string>& names)
{
    Certificate certificate(X509_new());
    check(certificate != nullptr, "certificate");
    X509_set_version(certificate.get(), X509_VERSION_3);
    std::array<unsigned char, 8> serial{};
    check(RAND_bytes(serial.data(), serial.size()) == 1, "certificate serial");
    serial[0] &= 0x7F;
    const std::unique_ptr<BIGNUM, ReleasedBy<&BN_free>> number(BN_bin2bn(serial.data(), serial.size(), nullptr));
    check(BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate.get())) != nullptr, "certificate serial");
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kClockSkew);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kValidSeconds);
    X509_NAME* subject = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("torvosim"), -1, -1,
                               0);
    X509_set_issuer_name(certificate.get(), subject);
    X509_set_pubkey(certificate.get(), key);

    std::string alternatives = "DNS:localhost,DNS:torvosim";
    for (const std::string& name : names) alternatives += (isAddress(name) ? ",IP:" : ",DNS:") + name;
    addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate.get(), NID_subject_alt_name, alternatives);
    check(X509_sign(certificate.get(), key, EVP_sha256()) != 0, "certificate signature");
    return certificate;
}

int versionNumber(const std::string& text)
{
    static constexpr std::pair<const char*, int> versions[] = {
        {"1.0", TLS1_VERSION}, {"1.1", TLS1_1_VERSION}, {"1.2", TLS1_2_VERSION}, {"1.3", TLS1_3_VERSION}};
    for (const auto& [name, number] : versions)
        if (text == name) return number;
    throw std::invalid_argument("'" + text + "' is no TLS version: 1.0, 1.1, 1.2 or 1.3");
}

}  // namespace

TlsContext makeTlsContext(const std::vector<std::string>& names, const std::string& minimum, const std::string& maximum,
                          std::string& certificatePem)
{
    const int low  = versionNumber(minimum);
    const int high = versionNumber(maximum);
    if (low > high) throw std::invalid_argument("TLS " + minimum + " to " + maximum + " is an empty range");

    TlsContext context(SSL_CTX_new(TLS_server_method()));
    check(context != nullptr, "TLS context");
    // OpenSSL's default security level has no room for the old versions that a test of a version mismatch asks for.
    if (low < TLS1_2_VERSION) SSL_CTX_set_security_level(context.get(), 0);
    check(SSL_CTX_set_min_proto_version(context.get(), low) == 1, "TLS minimum");
    check(SSL_CTX_set_max_proto_version(context.get(), high) == 1, "TLS maximum");

    const Key key(EVP_EC_gen("P-256"));
    check(key != nullptr, "private key");
    const Certificate certificate = selfSigned(key.get(), names);
    check(SSL_CTX_use_certificate(context.get(), certificate.get()) == 1, "certificate");
    check(SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1, "private key");

    const Bio pem(BIO_new(BIO_s_mem()));
    check(pem && PEM_write_bio_X509(pem.get(), certificate.get()) == 1, "certificate text");
    char*      text = nullptr;
    const long size = BIO_get_mem_data(pem.get(), &text);
    certificatePem.assign(text, static_cast<std::size_t>(size));
    return context;
}

TlsSocket::TlsSocket(SSL_CTX* context, int fd) : ssl_(SSL_new(context)), fd_(fd)
{
    if (!ssl_ || SSL_set_fd(ssl_.get(), fd) != 1) throw std::runtime_error("no TLS state for a connection");
}

bool TlsSocket::handshake() noexcept
{
    ERR_clear_error();
    return SSL_accept(ssl_.get()) == 1;
}

std::size_t TlsSocket::read(void* into, std::size_t size) noexcept
{
    ERR_clear_error();
    const int got = SSL_read(ssl_.get(), into, static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

bool TlsSocket::write(std::string_view bytes) noexcept
{
    ERR_clear_error();
    std::size_t written = 0;
    return bytes.empty() || SSL_write_ex(ssl_.get(), bytes.data(), bytes.size(), &written) == 1;
}

void TlsSocket::farewell() noexcept
{
    ERR_clear_error();
    SSL_shutdown(ssl_.get());
}

void TlsSocket::resetOnClose() noexcept
{
    const linger none{1, 0};
    ::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &none, sizeof none);
}

}  // namespace torvosim
