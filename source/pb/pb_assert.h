// Assertions: a broken precondition ends the process and prints the failed condition as it is written in the source.
#ifndef PB_PB_ASSERT_H
#define PB_PB_ASSERT_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// Prints one line on standard error (source path without extension, line, context, expression) and aborts the
/// process. CONTEXT may be null; PATH may carry its file extension. Never returns.
PB_EXPORT void pb___Abort( const char *context, const char *path, int64_t line, const char *expression )
    __attribute__( ( noreturn, cold ) );

PB_END_DECLS

/// Asserts a condition; the text is the argument as it stands, so it must not be a macro's already expanded argument.
#define PB_ASSERT( expr ) PB_ASSERT_TEXT( expr, #expr )

/// Asserts a condition under a text that an outer macro captured.
#define PB_ASSERT_TEXT( expr, text ) PB_ASSERT_CONTEXT( nullptr, expr, text )

/// The same with a context in front of the text.
#define PB_ASSERT_CONTEXT( context, expr, text )                                                                       \
    ( __builtin_expect( !!( expr ), 1 ) ? (void) 0 : pb___Abort( context, __BASE_FILE__, __LINE__, text ) )

#endif
