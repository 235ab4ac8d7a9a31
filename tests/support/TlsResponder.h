/** @file TlsResponder.h  A TLS server that answers with the bytes a test gives it and keeps the requests it got. */
#ifndef TLSRESPONDER_H
#define TLSRESPONDER_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace rig {

/** What one connection is answered. */
struct TlsAnswer {
    std::string bytes;           ///< as they go out; empty: the connection closes without an answer
    bool        silent = false;  ///< keeps the connection open and says nothing more, until the server ends
};

class TlsResponder {
public:
    /** Listens on loopback, on a port of four digits. @param ipv6  on ::1 instead of 127.0.0.1 */
    explicit TlsResponder(bool ipv6 = false);
    ~TlsResponder();
    TlsResponder(const TlsResponder&) = delete;

    std::string port() const { return std::to_string(port_); }

    /** Queues the answer of the next connection; a connection without one is answered 500. */
    void answer(TlsAnswer answer);
    void answer(int status, const std::string& body, const std::string& extraHeaders = "");

    /** The requests so far, each as it came: head and body. */
    std::vector<std::string> requests() const;
    std::size_t              sent() const;  ///< the bytes of the answers so far

private:
    void      serve();
    TlsAnswer nextAnswer();

    int                      listener_ = -1;
    int                      port_     = 0;
    void*                    context_  = nullptr;
    mutable std::mutex       guard_;
    std::condition_variable  ended_;
    bool                     ending_ = false;
    std::deque<TlsAnswer>    answers_;
    std::vector<std::string> requests_;
    std::size_t              sent_ = 0;
    std::thread              thread_;

    void handle(int connection);
};

}  // namespace rig

#endif
