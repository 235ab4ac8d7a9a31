/** @file streams.cpp  Ways to an event stream. */
#include "streams.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include <stdexcept>

namespace bench {

namespace {

constexpr int kWaitMs = 1000;

extern "C" void onEvent(SSEEventData* event)
{
    if (event->StatusCode == 0)
        static_cast<EventReader*>(event->pCallerContext)
            ->feed({event->pEvent, static_cast<std::size_t>(event->EventPayloadSize)});
    SMFreeMem(event->pEvent);
    SMFreeMem(event);
}

extern "C" std::size_t onBytes(char* bytes, std::size_t size, std::size_t count, void* reader)
{
    static_cast<EventReader*>(reader)->feed({bytes, size * count});
    return size * count;
}

}  // namespace

LibraryStream::LibraryStream(const char* path, EventReader& reader) : context_{&reader, &onEvent}
{
    if (const s32 st = QVRFUTILRegisterSSE(path, &context_, &handle_); st != 0)
        throw std::runtime_error("the subscription failed with " + std::to_string(st));
}

LibraryStream::~LibraryStream()
{
    QVRFUTILUnregisterSSE(&handle_);
}

RawStream::RawStream(const Resource& resource, EventReader& reader)
    : headers_(requestHeaders(resource, true)), easy_(curl_easy_init()), multi_(curl_multi_init())
{
    if (!easy_ || !multi_) throw std::bad_alloc();
    setCommonOptions(easy_.get(), 10000L);
    set(easy_.get(), CURLOPT_WRITEFUNCTION, &onBytes);
    set(easy_.get(), CURLOPT_WRITEDATA, &reader);
    set(easy_.get(), CURLOPT_HTTPGET, 1L);
    set(easy_.get(), CURLOPT_HTTPHEADER, headers_.get());
    set(easy_.get(), CURLOPT_URL, resource.url.c_str());
    if (curl_multi_add_handle(multi_.get(), easy_.get()) != CURLM_OK ||
        curl_multi_perform(multi_.get(), &running_) != CURLM_OK)
        throw std::runtime_error("libcurl's stream failed");
    worker_ = std::thread([this] { read(); });
}

RawStream::~RawStream()
{
    stop_ = true;
    worker_.join();
    curl_multi_remove_handle(multi_.get(), easy_.get());
}

void RawStream::read()
{
    while (!stop_ && running_ != 0)
        if (curl_multi_wait(multi_.get(), nullptr, 0, kWaitMs, nullptr) != CURLM_OK ||
            curl_multi_perform(multi_.get(), &running_) != CURLM_OK)
            return;
}

CommandStream::CommandStream(const Words& command, EventReader& reader)
{
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    output_ = qvrf::Descriptor(ends[0]);
    const qvrf::Descriptor writeEnd(ends[1]);
    process_ = start(command, writeEnd.get());
    worker_  = std::thread([this, &reader] {
        char piece[65536];
        for (ssize_t got = 0; (got = ::read(output_.get(), piece, sizeof piece)) > 0;)
            reader.feed({piece, static_cast<std::size_t>(got)});
    });
}

CommandStream::~CommandStream()
{
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
    worker_.join();
}

}  // namespace bench
