/** @file HttpsConnection.cpp  HTTP/1.1 on one TLS connection. */
#include "HttpsConnection.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <optional>

#include "ResponseWriter.h"

namespace torvosim {

namespace {

namespace http = boost::beast::http;
using boost::system::error_code;
using Parser = http::request_parser<http::buffer_body>;

constexpr std::uint32_t kMaxHeader = 64 * 1024;
constexpr std::size_t   kPiece     = 64 * 1024;

/** A TLS connection as the parser's source of bytes. */
struct ByteSource {
    TlsSocket& tls;

    template <class Buffers>
    std::size_t read_some(const Buffers& buffers, error_code& error)
    {
        for (auto it = boost::asio::buffer_sequence_begin(buffers); it != boost::asio::buffer_sequence_end(buffers);
             ++it) {
            const boost::asio::mutable_buffer buffer(*it);
            if (buffer.size() == 0) continue;
            const std::size_t got = tls.read(buffer.data(), buffer.size());
            error                 = got == 0 ? error_code(boost::asio::error::eof) : error_code();
            return got;
        }
        error = {};
        return 0;
    }
    template <class Buffers>
    std::size_t read_some(const Buffers& buffers)
    {
        error_code        error;
        const std::size_t got = read_some(buffers, error);
        if (error) throw boost::system::system_error(error);
        return got;
    }
};

/** The address of who is at the other end of @p fd; empty when it is gone. */
std::string peerAddress(int fd)
{
    sockaddr_storage             address{};
    socklen_t                    size = sizeof address;
    std::array<char, NI_MAXHOST> text{};
    const auto*                  peer = reinterpret_cast<sockaddr*>(&address);
    if (::getpeername(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return {};
    if (::getnameinfo(peer, size, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST) != 0) return {};
    return text.data();
}

class Connection final : public Exchange {
public:
    Connection(Bmc& bmc, Router& router, TlsSocket& tls) : bmc_(bmc), router_(router), tls_(tls), source_{tls} {}

    void run()
    {
        while (serveOne()) {
        }
        if (!reset_ && !(writer_ && writer_->wasCut())) tls_.farewell();
    }

    const Request&   request() const override { return request_; }
    std::string_view readSome() override;
    bool             beginStream(const Response& head) override
    {
        status_   = head.status;
        streamed_ = true;
        return writer_->beginStream(head);
    }
    bool writeChunk(std::string_view chunk) override { return writer_->writeChunk(chunk); }
    void endStream() override { writer_->endStream(); }
    int  socket() const override { return tls_.fd(); }
    void reset() override
    {
        reset_ = true;
        tls_.resetOnClose();
    }

private:
    bool serveOne();
    bool readHeader();
    bool answer();
    bool send(const Response& response);
    void drain()
    {
        while (!readSome().empty()) {
        }
    }

    Bmc&                          bmc_;
    Router&                       router_;
    TlsSocket&                    tls_;
    ByteSource                    source_;
    boost::beast::flat_buffer     buffer_;
    std::optional<Parser>         parser_;
    std::optional<ResponseWriter> writer_;
    Request                       request_;
    std::array<char, kPiece>      piece_{};
    int                           status_      = 0;
    bool                          streamed_    = false;
    bool                          reset_       = false;
    bool                          expectsMore_ = false;  // the peer waits for "100 Continue" before it sends the body
    bool                          bodyBroken_  = false;
};

bool Connection::readHeader()
{
    parser_.emplace();
    parser_->header_limit(kMaxHeader);
    parser_->body_limit(UINT64_MAX);  // whoever takes the body bounds it
    error_code error;
    http::read_header(source_, buffer_, *parser_, error);
    if (error) {
        writer_.emplace(tls_, HttpFaults{}, true);
        // The peer left, or spoke something else than HTTP.
        if (error != http::error::end_of_stream && error != http::error::partial_message &&
            error != boost::asio::error::eof) {
            writer_->send(errorResponse(400, "The request is malformed: " + error.message()), true);
            bmc_.trace.line("https malformed request -> 400");
        }
        return false;
    }
    const auto& message = parser_->get();
    request_            = {};
    request_.method     = std::string(message.method_string());
    request_.target     = std::string(message.target());
    request_.path       = targetPath(request_.target);
    request_.peer       = peerAddress(tls_.fd());
    for (const auto& field : message)
        request_.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    expectsMore_ = equalsIgnoreCase(request_.header("Expect"), "100-continue");
    bodyBroken_  = false;
    streamed_    = false;
    status_      = 0;
    return true;
}

std::string_view Connection::readSome()
{
    if (bodyBroken_ || parser_->is_done()) return {};
    if (expectsMore_) {
        expectsMore_ = false;
        if (!tls_.write("HTTP/1.1 100 Continue\r\n\r\n")) return {};
    }
    auto& body = parser_->get().body();
    for (;;) {
        body.data = piece_.data();
        body.size = piece_.size();
        body.more = true;
        error_code error;
        http::read_some(source_, buffer_, *parser_, error);
        if (error == http::error::need_buffer) error = {};
        bodyBroken_           = static_cast<bool>(error);
        const std::size_t got = piece_.size() - body.size;
        if (got != 0) return {piece_.data(), got};
        if (bodyBroken_ || parser_->is_done()) return {};
    }
}

bool Connection::send(const Response& response)
{
    status_ = response.status;
    return writer_->send(response, request_.method != "HEAD");
}

bool Connection::answer()
{
    HttpFaults faults = bmc_.faults.take(request_.method, request_.path);
    if (faults.delayMs != 0) {
        pollfd gone{tls_.fd(), POLLRDHUP, 0};  // stopping ends the wait
        ::poll(&gone, 1, static_cast<int>(faults.delayMs));
    }
    writer_.emplace(tls_, faults, !parser_->get().keep_alive());
    if (faults.raw) {
        drain();
        writer_->sendRaw(*faults.raw);
        return false;
    }
    if (faults.status) {
        drain();
        return send(errorResponse(*faults.status, "This answer was asked for with the status fault"));
    }
    std::optional<Response> response = router_.handle(*this);
    if (!response) return streamed_ && !reset_ && !writer_->wasCut();
    drain();
    if (bodyBroken_) response->close = true;
    return send(*response);
}

bool Connection::serveOne()
{
    if (!readHeader()) return false;
    const bool keep = parser_->get().keep_alive();
    const bool good = answer();
    bmc_.stats.countRequest(request_.method, request_.path, status_);
    bmc_.trace.line("https " + request_.method + ' ' + request_.path + ' ' +
                    (status_ != 0 ? std::to_string(status_) : std::string("-")) +
                    (writer_ && writer_->wasCut() ? " cut" : "") + (reset_ ? " reset" : ""));
    return good && keep;
}

}  // namespace

void serveHttp(Bmc& bmc, Router& router, TlsSocket& tls)
{
    const auto connection = std::make_unique<Connection>(bmc, router, tls);
    connection->run();
}

}  // namespace torvosim
