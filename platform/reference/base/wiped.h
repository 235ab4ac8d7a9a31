/** @file wiped.h  Byte buffers that are overwritten before their memory goes back: passwords and tokens pass by. */
#ifndef WIPED_H
#define WIPED_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace qvplatform {

template <class T>
struct WipingAllocator {
    using value_type = T;

    WipingAllocator() noexcept = default;
    template <class U>
    WipingAllocator(const WipingAllocator<U>&) noexcept
    {
    }

    T*   allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* block, std::size_t count) noexcept
    {
        ::explicit_bzero(static_cast<void*>(block), count * sizeof(T));
        std::allocator<T>().deallocate(block, count);
    }

    friend bool operator==(const WipingAllocator&, const WipingAllocator&) noexcept { return true; }
    friend bool operator!=(const WipingAllocator&, const WipingAllocator&) noexcept { return false; }
};

/** A vector and not a string: a string keeps short texts in itself, where no allocator wipes them. */
using Bytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

inline std::string_view asText(const Bytes& bytes) noexcept
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline void append(Bytes& bytes, std::string_view text)
{
    bytes.insert(bytes.end(), text.begin(), text.end());
}

/** A NUL-terminated copy that the caller gives back with SMFreeMem; NULL when memory is out. */
inline char* handOut(std::string_view text) noexcept
{
    auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy == nullptr) return nullptr;
    if (!text.empty()) std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

}  // namespace qvplatform

#endif
