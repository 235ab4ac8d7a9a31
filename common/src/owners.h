/** @file owners.h  Owners for what C interfaces hand out, so that every return gives it back. */
#ifndef OWNERS_H
#define OWNERS_H

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "smsupport.h"

namespace qvrf {

/** The function that gives a thing back, written into the type of its owner. */
template <auto Release>
struct GivenBackBy {
    template <class T>
    void operator()(T* p) const noexcept
    {
        Release(p);
    }
};

template <class T>
using SmOwned = std::unique_ptr<T, GivenBackBy<&SMFreeMem>>;
template <class T>
using MallocOwned = std::unique_ptr<T, GivenBackBy<&std::free>>;
using File        = std::unique_ptr<std::FILE, GivenBackBy<&std::fclose>>;
using Directory   = std::unique_ptr<DIR, GivenBackBy<&::closedir>>;

/** A zeroed text of @p size bytes from the platform's allocator; empty when memory is out. */
inline SmOwned<astring> smText(u32 size) noexcept
{
    SmOwned<astring> text(static_cast<astring*>(SMAllocMem(size)));
    if (text) std::memset(text.get(), 0, size);
    return text;
}

/** An out-argument for an owner: hands a C function the address of a pointer and owns what comes back. */
template <class Owner>
class Receive {
public:
    explicit Receive(Owner& owner) noexcept : owner_(owner) {}
    ~Receive() { owner_.reset(raw_); }
    Receive(Receive&&) = delete;
    operator typename Owner::pointer *() noexcept { return &raw_; }

private:
    Owner&                  owner_;
    typename Owner::pointer raw_ = nullptr;
};

/** Overwrites a secret; the optimiser must not drop it. */
inline void wipe(void* secret, std::size_t size) noexcept
{
    ::explicit_bzero(secret, size);
}

/**
 * A heap text from somebody else that is wiped before it is given back, as far as it is known to be filled: what a
 * call handed out and then failed may hold no text at all.
 */
struct WipedAndFreed {
    std::size_t filled = 0;
    void        operator()(astring* secret) const noexcept
    {
        wipe(secret, filled);
        SMFreeMem(secret);
    }
};
using SecretText = std::unique_ptr<astring, WipedAndFreed>;

/** Notes that @p secret, if it is there, holds a text now. */
inline void markFilled(SecretText& secret) noexcept
{
    secret.get_deleter().filled = secret ? std::strlen(secret.get()) : 0;
}

/** A zeroed buffer for a secret, wiped over its whole size before it is given back. */
class SecretBuffer {
public:
    explicit SecretBuffer(std::size_t size) noexcept : size_(size), text_(smText(static_cast<u32>(size))) {}
    SecretBuffer(SecretBuffer&&) = delete;
    ~SecretBuffer()
    {
        if (text_) wipe(text_.get(), size_);
    }
    explicit    operator bool() const noexcept { return text_ != nullptr; }
    astring*    get() const noexcept { return text_.get(); }
    std::size_t size() const noexcept { return size_; }

private:
    std::size_t      size_;
    SmOwned<astring> text_;
};

/** A file descriptor. */
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

}  // namespace qvrf

#endif
