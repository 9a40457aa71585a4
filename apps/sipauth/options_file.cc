// Options of the library in a TOML file.
#include "options_file.h"

#include <cs/cs_object_record.h>
#include <fmt/format.h>
#include <sipauth/sipauth_defaults.h>

#include <algorithm>

namespace tool
{

namespace
{

// What a file may hold: the library's own full store form and the references that it writes only when they are set.
pb::Ref<pbStore> schema()
{
    auto options = pb::own( sipauthOptionsCreate() );
    auto full = pb::own( sipauthOptionsStore( options, 1 ) );
    auto text = pb::string( "" );
    pbStoreSetValueCstr( full.inout(), "serverRealm", -1, text );
    pbStoreSetValueCstr( full.inout(), "serverUsrDirectoryName", -1, text );
    auto reference = pb::own( pbStoreCreate() );
    pbStoreSetValueCstr( reference.inout(), "directoryName", -1, text );
    pbStoreSetValueCstr( reference.inout(), "userId", -1, text );
    pbStoreSetStoreCstr( full.inout(), "clientUsrReference", -1, reference );
    return full;
}

const char *typeName( int64_t type )
{
    constexpr const char *names[] = { "text", "an integer", "a boolean", "a table" };
    return names[type];
}

// Levenshtein's distance, to guess what an unknown key was meant to be.
size_t distance( const std::string &a, const std::string &b )
{
    std::vector<size_t> row( b.size() + 1 );
    for( size_t column = 0; column < row.size(); column++ )
        row[column] = column;
    for( size_t line = 1; line <= a.size(); line++ )
    {
        size_t diagonal = std::exchange( row[0], line );
        for( size_t column = 1; column <= b.size(); column++ )
        {
            size_t changed = diagonal + ( a[line - 1] == b[column - 1] ? 0 : 1 );
            diagonal = std::exchange( row[column], std::min( { changed, row[column] + 1, row[column - 1] + 1 } ) );
        }
    }
    return row[b.size()];
}

std::string suggestion( const std::string &name, pbStore *known )
{
    std::string best;
    size_t bestDistance = 4;
    for( int64_t index = 0; index < pbStoreLength( known ); index++ )
    {
        std::string candidate = pb::textOf( pbStoreKeyAt( known, index ) );
        if( size_t candidateDistance = distance( name, candidate ); candidateDistance < bestDistance )
        {
            best = candidate;
            bestDistance = candidateDistance;
        }
    }
    return best.empty() ? "" : fmt::format( " (did you mean '{}'?)", best );
}

class Checker
{
public:
    Checker( const std::map<std::string, int64_t> &lines, const std::string &prefix, const std::string &file )
        : lines_( lines ), prefix_( prefix ), file_( file )
    {
    }

    void check( pbStore *store, pbStore *known, const std::string &prefix )
    {
        for( int64_t index = 0; index < pbStoreLength( store ); index++ )
        {
            auto name = pb::own( pbStoreKeyAt( store, index ) );
            std::string key = prefix + pb::text( name );
            int64_t expected = pbStoreValueType( known, name );
            if( expected == PB_STORE_TYPE_INVALID )
                find( key, fmt::format( "unknown key '{}'{}", key, suggestion( pb::text( name ), known ) ) );
            else if( int64_t type = pbStoreValueType( store, name ); type != expected )
                find( key, fmt::format( "'{}' is {}, must be {}", key, typeName( type ), typeName( expected ) ) );
            else if( type == PB_STORE_TYPE_STORE )
                check( pb::own( pbStoreStore( store, name ) ), pb::own( pbStoreStore( known, name ) ), key + "." );
        }
    }

    void checkValues( pbStore *store )
    {
        auto preset = pb::own( pbStoreValueCstr( store, "defaults", -1 ) );
        if( preset && !SIPAUTH_DEFAULTS_OK( sipauthDefaultsFromString( preset ) ) )
            find( "defaults", fmt::format( "unknown preset '{}'", pb::text( preset ) ) );
        int64_t expiration = 0;
        if( pbStoreValueIntCstr( store, "serverChallengeExpiration", -1, &expiration ) && expiration < 0 )
            find( "serverChallengeExpiration",
                  fmt::format( "'serverChallengeExpiration' is {}, must be at least 0 milliseconds", expiration ) );
        checkRecordName( store, "serverUsrDirectoryName", "serverUsrDirectoryName" );
        if( auto reference = pb::own( pbStoreStoreCstr( store, "clientUsrReference", -1 ) ) )
            checkRecordName( reference, "directoryName", "clientUsrReference.directoryName" );
        if( auto base = pb::own( pbStoreStoreCstr( store, "rfcBaseOptions", -1 ) ) )
            checkBaseOptions( base );
    }

    std::vector<Finding> findings;

private:
    void find( const std::string &key, const std::string &what )
    {
        auto line = lines_.find( prefix_ + key );
        findings.push_back( { file_, line == lines_.end() ? 1 : line->second, 0, what } );
    }

    void checkRecordName( pbStore *store, const char *name, const std::string &key )
    {
        auto value = pb::own( pbStoreValueCstr( store, name, -1 ) );
        if( value && !csObjectRecordNameOk( value ) )
            find( key, fmt::format( "'{}' must be 1 to 255 letters, digits, '_', '-' or '.'", key ) );
    }

    // A value that the restored options do not give back was not taken.
    void checkBaseOptions( pbStore *base )
    {
        auto restored = pb::own( rfcBaseOptionsRestore( base ) );
        auto taken = pb::own( rfcBaseOptionsStore( restored, 1 ) );
        for( const char *name : { "alphabet", "lineLength" } )
        {
            auto key = pb::string( name );
            int64_t integer = 0, takenInteger = 0;
            auto value = pb::own( pbStoreValue( base, key ) );
            if( value && !pbStringEquals( value, pb::own( pbStoreValue( taken, key ) ) ) )
                find( fmt::format( "rfcBaseOptions.{}", name ),
                      fmt::format( "unknown alphabet '{}'", pb::text( value ) ) );
            if( pbStoreValueInt( base, key, &integer ) && pbStoreValueInt( taken, key, &takenInteger ) &&
                integer != takenInteger )
                find( fmt::format( "rfcBaseOptions.{}", name ), fmt::format( "'{}' cannot be {}", name, integer ) );
        }
    }

    const std::map<std::string, int64_t> &lines_;
    const std::string &prefix_;
    const std::string &file_;
};

} // namespace

std::vector<Finding> checkOptions( pbStore *options, const std::map<std::string, int64_t> &lines,
                                   const std::string &prefix, const std::string &file )
{
    Checker checker( lines, prefix, file );
    checker.check( options, schema(), "" );
    checker.checkValues( options );
    return checker.findings;
}

OptionsFile readOptionsFile( const std::string &path )
{
    TomlStore toml = readToml( readInput( path ), path );
    std::vector<Finding> findings = toml.findings;
    std::vector<Finding> ignored = checkOptions( toml.store, toml.lines, "", path );
    findings.insert( findings.end(), ignored.begin(), ignored.end() );
    std::stable_sort( findings.begin(), findings.end(),
                      []( const Finding &a, const Finding &b ) { return a.line < b.line; } );
    return { pb::own( sipauthOptionsRestore( toml.store ) ), findings };
}

pb::Ref<sipauthOptions> optionsFor( const std::string &path, int64_t fallback )
{
    if( path.empty() )
    {
        auto options = pb::own( sipauthOptionsCreate() );
        sipauthOptionsSetDefaults( options.inout(), fallback );
        return options;
    }
    OptionsFile file = readOptionsFile( path );
    for( const Finding &finding : file.findings )
        note( describe( finding ) );
    return file.options;
}

} // namespace tool
