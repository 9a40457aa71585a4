// Tests that a statement aborts the process with the line that an operator would see.
#ifndef SUPPORT_ABORT_H
#define SUPPORT_ABORT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace support
{

/// Matches a standard error output that is one abort line: PATH without line number, then the whole rest.
inline testing::Matcher<const std::string &> abortLine( const std::string &path, const std::string &rest )
{
    auto quote = []( const std::string &text )
    {
        std::string quoted;
        for( char c : text )
        {
            if( std::string( ".[]{}()\\*+?|^$" ).find( c ) != std::string::npos )
                quoted += '\\';
            quoted += c;
        }
        return quoted;
    };
    return testing::ContainsRegex( "(^|\n)" + quote( path ) + ":[0-9]+: abort: " + quote( rest ) + "\n$" );
}

} // namespace support

/// The statement aborts in the source file PATH (from the root of the tree, without extension) with the asserted
/// expression TEXT, which may have a context and ": " in front.
#define EXPECT_ABORT( statement, path, text )                                                                          \
    EXPECT_EXIT( statement, testing::KilledBySignal( SIGABRT ), support::abortLine( path, text ) )

#endif
