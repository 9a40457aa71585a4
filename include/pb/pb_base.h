// Basic types and macros of the platform runtime, included by every other public header.
#ifndef PB_PB_BASE_H
#define PB_PB_BASE_H

#include <stdint.h>

/// Marks a function that a shared library exports.
#define PB_EXPORT __attribute__( ( visibility( "default" ) ) )

#ifdef __cplusplus
#define PB_BEGIN_DECLS                                                                                                 \
    extern "C"                                                                                                         \
    {
#define PB_END_DECLS }
#else
#define PB_BEGIN_DECLS
#define PB_END_DECLS
#endif

/// A truth value: always 0 or 1 as a result; as an argument any value other than 0 counts as true.
typedef int32_t pbBool;

/// A Unicode code point.
typedef uint32_t pbChar;

/// Whether CH is a code point: at most 0x10FFFF.
#define PB_CHAR_OK( ch ) ( ( ch ) <= 0x10FFFFu )

#endif
