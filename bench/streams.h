/** @file streams.h  Ways to an event stream: the library's subscription, libcurl's multi interface, a command. */
#ifndef STREAMS_H
#define STREAMS_H

#include <atomic>
#include <memory>
#include <thread>

#include "eventreader.h"
#include "process.h"
#include "qvrfutil.h"
#include "rawcurl.h"

namespace bench {

/** An open stream that feeds its reader until it goes. */
class Stream {
public:
    Stream()                         = default;
    virtual ~Stream()                = default;
    Stream(const Stream&)            = delete;
    Stream& operator=(const Stream&) = delete;
};

class LibraryStream final : public Stream {
public:
    LibraryStream(const char* path, EventReader& reader);
    ~LibraryStream() override;

private:
    QVRFUTILHttpCallbackContext context_;
    void*                       handle_ = nullptr;
};

class RawStream final : public Stream {
public:
    RawStream(const Resource& resource, EventReader& reader);
    ~RawStream() override;

private:
    using MultiHandle = std::unique_ptr<CURLM, qvrf::GivenBackBy<&curl_multi_cleanup>>;
    void read();

    HeaderList        headers_;
    EasyHandle        easy_;
    MultiHandle       multi_;
    int               running_ = 0;
    std::atomic<bool> stop_{false};
    std::thread       worker_;
};

/** A command that writes the stream to its standard output. */
class CommandStream final : public Stream {
public:
    CommandStream(const Words& command, EventReader& reader);
    ~CommandStream() override;

private:
    qvrf::Descriptor output_;
    pid_t            process_ = -1;
    std::thread      worker_;
};

}  // namespace bench

#endif
