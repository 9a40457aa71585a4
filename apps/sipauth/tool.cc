// What the commands of the tool share.
#include "tool.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>

namespace tool
{

std::string describe( const Finding &finding )
{
    if( finding.column > 0 )
        return fmt::format( "{}:{}:{}: error: {}", finding.file, finding.line, finding.column, finding.what );
    return fmt::format( "{}:{}: error: {}", finding.file, finding.line, finding.what );
}

Json toJson( const std::vector<Finding> &findings )
{
    Json list = Json::array();
    for( const Finding &finding : findings )
        list.push_back( { { "file", finding.file },
                          { "line", finding.line },
                          { "column", finding.column },
                          { "error", finding.what } } );
    return list;
}

namespace
{

std::string readStream( std::istream &stream, const std::string &path )
{
    std::string bytes;
    char part[65536];
    while( stream.read( part, sizeof part ) || stream.gcount() > 0 )
        bytes.append( part, static_cast<size_t>( stream.gcount() ) );
    // A directory can be opened and not be read.
    if( stream.bad() )
        throw UsageError( fmt::format( "{}: cannot be read", path ) );
    return bytes;
}

} // namespace

std::string readInput( const std::string &path )
{
    if( path == "-" )
        return readStream( std::cin, "standard input" );
    std::ifstream file( path, std::ios::binary );
    if( !file )
        throw UsageError( fmt::format( "{}: cannot be read", path ) );
    return readStream( file, path );
}

std::string withLineEnds( const std::string &text )
{
    std::string head;
    size_t at = 0;
    while( at < text.size() )
    {
        size_t end = std::min( text.size(), text.find( '\n', at ) );
        std::string line = text.substr( at, end - at );
        at = std::min( text.size(), end + 1 );
        if( line.ends_with( '\r' ) )
            line.pop_back();
        head += line + "\r\n";
        // Empty lines before the start line are passed over (RFC 3261 section 7.5).
        if( line.empty() && head.find_first_not_of( "\r\n" ) != std::string::npos )
            return head + text.substr( at );
    }
    return head.empty() ? head : head + "\r\n";
}

pb::Ref<sipsnMessage> readMessage( const std::string &path )
{
    std::string bytes = withLineEnds( readInput( path ) );
    pb::Ref<pbString> reason;
    auto message = pb::own( sipsnMessageTryDecode( pb::buffer( bytes ), nullptr, reason.inout() ) );
    if( !message )
        throw UsageError( fmt::format( "{}: not a SIP message: {}", path, pb::text( reason ) ) );
    return message;
}

void PasswordSource::addTo( Command command )
{
    Argument environment =
        command.option( "--password-env", environment_, "Take the password from this environment variable" );
    command.option( "--password-file", file_, "Take the password from the first line of this file" )
        .excludes( environment );
}

namespace
{

// Switches the terminal's echo off for its lifetime, which a signal may end.
class SilentTerminal
{
public:
    SilentTerminal()
    {
        tcgetattr( STDIN_FILENO, &before_ );
        for( int signal : endingSignals )
            std::signal( signal, restoreAndEnd );
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>( ECHO );
        tcsetattr( STDIN_FILENO, TCSAFLUSH, &silent );
    }
    ~SilentTerminal()
    {
        tcsetattr( STDIN_FILENO, TCSAFLUSH, &before_ );
        for( int signal : endingSignals )
            std::signal( signal, SIG_DFL );
    }
    SilentTerminal( const SilentTerminal & ) = delete;
    SilentTerminal &operator=( const SilentTerminal & ) = delete;

private:
    static void restoreAndEnd( int signal )
    {
        tcsetattr( STDIN_FILENO, TCSAFLUSH, &before_ );
        std::signal( signal, SIG_DFL );
        raise( signal );
    }

    static constexpr int endingSignals[] = { SIGHUP, SIGINT, SIGQUIT, SIGTERM };
    static inline termios before_{};
};

std::string prompt( const std::string &question )
{
    if( !isatty( STDIN_FILENO ) )
        throw UsageError( "no terminal to ask for the password: use --password-env or --password-file" );
    // Silent before it asks: who answers at once shall not see the answer.
    SilentTerminal silent;
    std::cerr << question << ": " << std::flush;
    std::string password;
    bool read = static_cast<bool>( std::getline( std::cin, password ) );
    std::cerr << std::endl;
    if( !read )
        throw UsageError( "no password given" );
    return password;
}

std::string firstLine( const std::string &path )
{
    std::string text = readInput( path );
    return text.substr( 0, text.find_first_of( "\r\n" ) );
}

} // namespace

std::string PasswordSource::fromSource() const
{
    if( environment_.empty() )
        return firstLine( file_ );
    const char *value = std::getenv( environment_.c_str() );
    if( !value )
        throw UsageError( fmt::format( "the environment variable {} is not set", environment_ ) );
    return value;
}

pb::Ref<pbString> PasswordSource::read( const std::string &user ) const
{
    return pb::string( given() ? fromSource() : prompt( "Password of " + user ) );
}

pb::Ref<pbString> PasswordSource::readNew( const std::string &user ) const
{
    if( given() )
        return pb::string( fromSource() );
    std::string password = prompt( "New password of " + user );
    if( prompt( "Again" ) != password )
        throw UsageError( "the two passwords differ" );
    return pb::string( password );
}

void addJson( Command command, bool &json )
{
    command.flag( "--json", json, "Print the result as one JSON object" );
}

void print( const std::string &text )
{
    std::cout << text;
}

void printJson( const Json &json )
{
    // What is not UTF-8 in a received message is shown with replacement characters.
    std::cout << json.dump( 2, ' ', false, Json::error_handler_t::replace ) << "\n";
}

void note( const std::string &text )
{
    std::cerr << text << "\n";
}

} // namespace tool
