// What changes while a soak is under way.
#include "changes.h"

#include "directory.h"

#include <cs/cs_object.h>
#include <cs_toml/cs_toml.h>
#include <pb/pb_std.hh>
#include <sipauth/sipauth_stack.h>
#include <tr/tr_recorder.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace soak
{

namespace
{

constexpr int64_t presets[] = { SIPAUTH_DEFAULTS_STANDARD, SIPAUTH_DEFAULTS_COMPATIBLE, SIPAUTH_DEFAULTS_MINIMAL };
constexpr int64_t expirations[] = { 1, 50, 5000 };

} // namespace

Changes::Changes( uint64_t seed, Outcomes &outcomes ) : outcomes_( outcomes ), random_( seed )
{
    std::string pattern = ( std::filesystem::temp_directory_path() / "sipauth-soak-XXXXXX" ).string();
    folder_ = mkdtemp( pattern.data() );
    writeFile( fileText() );
    pb::Ref<pbString> reason;
    auto format = pb::own( csTomlFormatCreate() );
    configuration_ =
        pb::own( csConfigurationTryLoad( format, pb::string( folder_ + "/soak.toml" ), nullptr, reason.inout() ) );
    if( !configuration_ )
        outcomes_.broken( "the configuration cannot be loaded: " + pb::text( reason ) );
}

Changes::~Changes()
{
    configuration_.clear();
    trSetRecorder( nullptr );
    std::filesystem::remove_all( folder_ );
}

void Changes::change()
{
    switch( random_() % 4 )
    {
    case 0:
        return setOptions();
    case 1:
        return reload();
    case 2:
        return reloadBroken();
    default:
        return record();
    }
}

void Changes::writeFile( const std::string &text )
{
    std::ofstream( folder_ + "/soak.toml", std::ios::binary | std::ios::trunc ) << text;
}

// The number of open lookups belongs to the directory itself; a change of the mark makes a new object of the driver.
std::string Changes::fileText()
{
    auto preset = pb::own( sipauthDefaultsToString( presets[random_() % std::size( presets )] ) );
    return "[object.users]\nsort = \"USR_DIRECTORY\"\n[object.users.config]\ndriver = \"slow\"\nlookupTimeout = " +
           std::to_string( lookupTimeout ) + "\nmaxLookups = " + std::to_string( 3 + random_() % 100 ) +
           "\nmark = " + std::to_string( random_() % 3 ) +
           "\n[object.registrar]\nsort = \"SIPAUTH_STACK\"\n[object.registrar.config]\ndefaults = \"" +
           pb::text( preset ) +
           "\"\nserverRealm = \"example.org\"\nserverUsrDirectoryName = \"users\"\nserverChallengeExpiration = " +
           std::to_string( expirations[random_() % std::size( expirations )] ) + "\n";
}

void Changes::setOptions()
{
    auto stack = pb::own( sipauthStackFrom( csObject( pb::string( "registrar" ), sipauthStackSort() ) ) );
    auto options = pb::own( sipauthStackOptions( stack ) );
    sipauthOptionsSetDefaults( options.inout(), presets[random_() % std::size( presets )] );
    sipauthOptionsSetServerChallengeExpiration( options.inout(), expirations[random_() % std::size( expirations )] );
    sipauthOptionsSetServerRechallenge( options.inout(), random_() % 2 == 0 );
    sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), random_() % 2 == 0 );
    sipauthOptionsSetServerDigestAcceptNonceReuse( options.inout(), random_() % 2 == 0 );
    if( random_() % 4 == 0 )
        sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    else
        sipauthOptionsSetSchemesDefault( options.inout() );
    sipauthStackSetOptions( stack, options );
    outcomes_.count( Outcome::OPTIONS_SET );
}

void Changes::reload()
{
    writeFile( fileText() );
    pb::Ref<pbString> reason;
    if( csConfigurationTryReload( configuration_, reason.inout() ) )
        return outcomes_.count( Outcome::RELOADED );
    outcomes_.broken( "a good file was refused: " + pb::text( reason ) );
}

void Changes::reloadBroken()
{
    writeFile( fileText() + "[object.users\n" );
    if( csConfigurationTryReload( configuration_, nullptr ) )
        return outcomes_.broken( "a broken file was taken" );
    outcomes_.count( Outcome::RELOAD_REFUSED );
}

// Half of the time what is made from now on is traced; what was traced before goes.
void Changes::record()
{
    trSetRecorder( random_() % 2 == 0 ? pb::own( trRecorderCreateMemory() ) : pb::Ref<trRecorder>() );
}

} // namespace soak
