/** @file memory.cpp  SMAllocMem and SMFreeMem: the standard allocator, whose blocks SMFreeMem takes back too. */
#include <cstdlib>

#include "smsupport.h"

extern "C" void* SMAllocMem(u32 size)
{
    // A block of no bytes is still a block: callers take NULL for "out of memory".
    return std::malloc(size == 0 ? 1 : size);
}

extern "C" void SMFreeMem(void* memory)
{
    std::free(memory);
}
