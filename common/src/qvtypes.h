/**
 * @file qvtypes.h
 * The scalar types of every interface of this library. C11 and C++17.
 */
#ifndef QVTYPES_H
#define QVTYPES_H

#include <stddef.h>
#include <stdint.h>

typedef char     astring; /**< one 8-bit character of a NUL-terminated text */
typedef int16_t  booln;   /**< TRUE or FALSE, 16 bits wide */
typedef uint8_t  u8;      /**< 8 bits, unsigned */
typedef uint16_t u16;     /**< 16 bits, unsigned */
typedef uint32_t u32;     /**< 32 bits, unsigned */
typedef uint64_t u64;     /**< 64 bits, unsigned */
typedef int32_t  s32;     /**< 32 bits, signed: the results of operations */

/* Annex K implementations of the C library bring an errno_t of their own, as an int. */
#ifndef __STDC_LIB_EXT1__
typedef s32 errno_t; /**< 0, or an error number of the bounds-checked functions */
#endif

#ifndef TRUE
#define TRUE 1 /**< of a booln */
#endif
#ifndef FALSE
#define FALSE 0 /**< of a booln */
#endif

#endif
