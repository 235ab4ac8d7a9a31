/** @file TlsResponder.cpp  A scripted TLS server. */
#include "TlsResponder.h"

#include <netdb.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <random>
#include <stdexcept>

namespace rig {
namespace {

SSL_CTX* newContext()
{
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
    std::unique_ptr<X509, decltype(&X509_free)>         cert(X509_new(), &X509_free);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 3600);
    X509_set_pubkey(cert.get(), key.get());
    X509_sign(cert.get(), key.get(), EVP_sha256());
    SSL_CTX* context = SSL_CTX_new(TLS_server_method());
    if (SSL_CTX_use_certificate(context, cert.get()) != 1 || SSL_CTX_use_PrivateKey(context, key.get()) != 1)
        throw std::runtime_error("no TLS context");
    return context;
}

/** One for the process: nobody checks its certificate, and a new key takes longer than a request. */
SSL_CTX* theContext()
{
    static SSL_CTX* const context = newContext();
    return context;
}

bool bindTo(int fd, bool ipv6, int port)
{
    addrinfo hints{}, *found = nullptr;
    hints.ai_family   = ipv6 ? AF_INET6 : AF_INET;
    hints.ai_flags    = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_STREAM;
    if (getaddrinfo(nullptr, std::to_string(port).c_str(), &hints, &found) != 0) return false;
    const bool bound = bind(fd, found->ai_addr, found->ai_addrlen) == 0;
    freeaddrinfo(found);
    return bound;
}

/** Head and, as far as Content-Length says, body. */
std::string readRequest(BIO* wire)
{
    std::string text;
    std::size_t wanted = std::string::npos;
    char        chunk[4096];
    while (text.size() < wanted) {
        const int n = BIO_read(wire, chunk, sizeof chunk);
        if (n <= 0) break;
        text.append(chunk, static_cast<std::size_t>(n));
        const std::size_t head = text.find("\r\n\r\n");
        if (wanted != std::string::npos || head == std::string::npos) continue;
        const std::size_t length = text.find("Content-Length: ");
        wanted                   = head + 4 + (length < head ? std::stoul(text.substr(length + 16)) : 0);
    }
    return text;
}

/** The first byte of a TLS connection is that of a handshake's record, none that a request begins with. */
bool beginsTls(int connection)
{
    char first = 0;
    return recv(connection, &first, 1, MSG_PEEK) == 1 && first == 22;
}

}  // namespace

TlsResponder::TlsResponder(bool ipv6) : context_(theContext())
{
    signal(SIGPIPE, SIG_IGN);
    listener_ = socket(ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::mt19937 random(std::random_device{}());
    for (int tries = 0; port_ == 0 && tries < 500; ++tries) {
        const int candidate = std::uniform_int_distribution<int>(2000, 9999)(random);
        if (bindTo(listener_, ipv6, candidate)) port_ = candidate;
    }
    if (port_ == 0 || listen(listener_, 16) != 0) throw std::runtime_error("cannot listen on loopback");
    thread_ = std::thread([this] { serve(); });
}

TlsResponder::~TlsResponder()
{
    {
        const std::lock_guard<std::mutex> lock(guard_);
        ending_ = true;
    }
    ended_.notify_all();
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
}

void TlsResponder::answer(TlsAnswer answer)
{
    const std::lock_guard<std::mutex> lock(guard_);
    answers_.push_back(std::move(answer));
}

void TlsResponder::answer(int status, const std::string& body, const std::string& extraHeaders)
{
    answer({"HTTP/1.1 " + std::to_string(status) + " Said\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
                extraHeaders + "\r\n" + body,
            false});
}

std::vector<std::string> TlsResponder::requests() const
{
    const std::lock_guard<std::mutex> lock(guard_);
    return requests_;
}

std::size_t TlsResponder::sent() const
{
    const std::lock_guard<std::mutex> lock(guard_);
    return sent_;
}

TlsAnswer TlsResponder::nextAnswer()
{
    const std::lock_guard<std::mutex> lock(guard_);
    TlsAnswer                         answer{"HTTP/1.1 500 Unexpected\r\nContent-Length: 0\r\n\r\n", false};
    if (!answers_.empty()) {
        answer = std::move(answers_.front());
        answers_.pop_front();
    }
    sent_ += answer.bytes.size();
    return answer;
}

void TlsResponder::serve()
{
    for (;;) {
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) return;
        handle(connection);
        close(connection);
    }
}

void TlsResponder::handle(int connection)
{
    std::unique_ptr<BIO, decltype(&BIO_free_all)> wire(BIO_new_socket(connection, BIO_NOCLOSE), &BIO_free_all);
    if (beginsTls(connection)) wire.reset(BIO_push(BIO_new_ssl(static_cast<SSL_CTX*>(context_), 0), wire.release()));
    std::string request = readRequest(wire.get());
    {
        const std::lock_guard<std::mutex> lock(guard_);
        requests_.push_back(std::move(request));
    }
    const TlsAnswer answer = nextAnswer();
    if (!answer.bytes.empty()) BIO_write(wire.get(), answer.bytes.data(), static_cast<int>(answer.bytes.size()));
    if (!answer.silent) return;
    std::unique_lock<std::mutex> lock(guard_);
    ended_.wait(lock, [this] { return ending_; });
}

}  // namespace rig
