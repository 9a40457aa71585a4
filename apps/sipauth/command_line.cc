// Commands and their arguments.
#include "command_line.h"

#include <CLI/CLI.hpp>

namespace tool
{

Argument Argument::required() const
{
    option_->required();
    return *this;
}

Argument Argument::within( int64_t low, int64_t high ) const
{
    option_->check( CLI::Range( low, high ) );
    return *this;
}

Argument Argument::excludes( Argument other ) const
{
    option_->excludes( other.option_ );
    return *this;
}

Command Command::add( const char *name, const char *description ) const
{
    return Command( *app_->add_subcommand( name, description ) );
}

void Command::requireCommand() const
{
    app_->require_subcommand( 1 );
}

Argument Command::option( const char *name, std::string &value, const char *description ) const
{
    return Argument( app_->add_option( name, value, description ) );
}

Argument Command::option( const char *name, int64_t &value, const char *description ) const
{
    return Argument( app_->add_option( name, value, description ) );
}

Argument Command::option( const char *name, std::optional<int64_t> &value, const char *description ) const
{
    return Argument( app_->add_option( name, value, description ) );
}

Argument Command::flag( const char *name, bool &value, const char *description ) const
{
    return Argument( app_->add_flag( name, value, description ) );
}

void Command::onCall( std::function<void()> function ) const
{
    app_->callback( std::move( function ) );
}

} // namespace tool
