// The commands of the tool and their arguments. CLI11 stands behind it: its header takes seconds in each file that
// includes it, so that only two do.
#ifndef SIPAUTH_COMMAND_LINE_H
#define SIPAUTH_COMMAND_LINE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace CLI
{
class App;
class Option;
} // namespace CLI

namespace tool
{

/// An argument of a command.
class Argument
{
public:
    explicit Argument( CLI::Option *option ) : option_( option ) {}
    /// The call is refused without it.
    Argument required() const;
    /// Its number has to be LOW to HIGH.
    Argument within( int64_t low, int64_t high ) const;
    /// The call is refused when both are given.
    Argument excludes( Argument other ) const;

private:
    CLI::Option *option_;
};

/// A command; what is stored into has to live until the call has been read.
class Command
{
public:
    explicit Command( CLI::App &app ) : app_( &app ) {}
    /// A command of this command.
    Command add( const char *name, const char *description ) const;
    /// The call has to name one of its commands.
    void requireCommand() const;
    /// An argument with a value: "--name", or "NAME" for one that is told by its place.
    Argument option( const char *name, std::string &value, const char *description ) const;
    Argument option( const char *name, int64_t &value, const char *description ) const;
    /// Without value when it is not given.
    Argument option( const char *name, std::optional<int64_t> &value, const char *description ) const;
    Argument flag( const char *name, bool &value, const char *description ) const;
    /// What is done when the call names this command.
    void onCall( std::function<void()> function ) const;

private:
    CLI::App *app_;
};

} // namespace tool

#endif
