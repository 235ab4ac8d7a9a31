/** @file descriptor.h  The owner of a file descriptor. */
#ifndef QVTOOLS_DESCRIPTOR_H
#define QVTOOLS_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace qvtools {

/** A file descriptor and its owner. */
class Descriptor {
public:
    explicit Descriptor(int fd = -1) noexcept : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor()
    {
        if (fd_ >= 0) ::close(fd_);
    }
    explicit operator bool() const noexcept { return fd_ >= 0; }
    int      get() const noexcept { return fd_; }
    int      release() noexcept { return std::exchange(fd_, -1); }

private:
    int fd_;
};

}  // namespace qvtools

#endif
