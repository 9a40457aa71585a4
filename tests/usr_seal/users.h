// What the tests of the drivers share: a folder of their own, a directory, and lookups and changes as one line of text.
#ifndef USR_SEAL_USERS_H
#define USR_SEAL_USERS_H

#include "support/text.h"
#include "tr/recorded.h"

#include <pb/pb_scheduler.h>
#include <pb/pb_vector.h>
#include <rfc/rfc_base.h>
#include <usr/usr_administration.h>
#include <usr/usr_lookup.h>
#include <usr/usr_query.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace users
{

using pb::own;
using support::string;

/// A folder that goes with its owner.
class Folder
{
public:
    Folder()
    {
        std::string pattern = ( std::filesystem::temp_directory_path() / "sipauth-test-XXXXXX" ).string();
        path_ = mkdtemp( pattern.data() );
    }
    ~Folder() { std::filesystem::remove_all( path_ ); }
    Folder( const Folder & ) = delete;
    Folder &operator=( const Folder & ) = delete;

    std::string operator/( const std::string &name ) const { return path_ + "/" + name; }
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

inline std::string contentOf( const std::string &path )
{
    std::ifstream file( path, std::ios::binary );
    return std::string( std::istreambuf_iterator<char>( file ), {} );
}

inline void write( const std::string &path, const std::string &content )
{
    std::ofstream( path, std::ios::binary ) << content;
}

inline pb::Ref<pbStore> config( const char *driver )
{
    auto store = own( pbStoreCreate() );
    pbStoreSetValueCstr( store.inout(), "driver", -1, string( driver ) );
    return store;
}

inline void set( pb::Ref<pbStore> &store, const char *key, const std::string &value )
{
    pbStoreSetValueCstr( store.inout(), key, -1, string( value ) );
}

inline void set( pb::Ref<pbStore> &store, const char *key, int64_t value )
{
    pbStoreSetValueIntCstr( store.inout(), key, -1, value );
}

/// The result of a change: "ok", "exists", "not found", or "failed" with the reason.
inline std::string told( int64_t result, pbString *givenReason )
{
    auto reason = own( givenReason );
    switch( result )
    {
    case USR_RESULT_OK:
        return "ok";
    case USR_RESULT_EXISTS:
        return "exists";
    case USR_RESULT_NOT_FOUND:
        return "not found";
    default:
        return "failed: " + pb::text( reason );
    }
}

inline std::string add( usrDirectory *directory, const std::string &id, const std::string &name,
                        const std::string &realm, const std::string &password )
{
    pbString *reason = nullptr;
    auto realmText = realm.empty() ? pb::Ref<pbString>() : string( realm );
    int64_t result =
        usrDirectoryAddUser( directory, string( id ), string( name ), realmText, string( password ), &reason );
    return told( result, reason );
}

inline std::string setPassword( usrDirectory *directory, const std::string &id, const std::string &password )
{
    pbString *reason = nullptr;
    int64_t result = usrDirectorySetPassword( directory, string( id ), string( password ), &reason );
    return told( result, reason );
}

inline std::string setEnabled( usrDirectory *directory, const std::string &id, bool enabled )
{
    pbString *reason = nullptr;
    int64_t result = usrDirectorySetUserEnabled( directory, string( id ), enabled, &reason );
    return told( result, reason );
}

inline std::string remove( usrDirectory *directory, const std::string &id )
{
    pbString *reason = nullptr;
    int64_t result = usrDirectoryDeleteUser( directory, string( id ), &reason );
    return told( result, reason );
}

/// Each user as "ID NAME REALM", "(disabled)" behind; or the failure.
inline std::vector<std::string> list( usrDirectory *directory )
{
    pbVector *listed = nullptr;
    pbString *reason = nullptr;
    int64_t result = usrDirectoryListUsers( directory, &listed, &reason );
    auto all = own( listed );
    if( result != USR_RESULT_OK )
        return { told( result, reason ) };
    std::vector<std::string> lines;
    for( int64_t index = 0; index < pbVectorLength( all ); index++ )
    {
        auto user = own( pbStoreFrom( pbVectorObjAt( all, index ) ) );
        pbBool enabled = 0;
        pbStoreValueBoolCstr( user, "enabled", -1, &enabled );
        std::string line = support::textOf( pbStoreValueCstr( user, "userId", -1 ) ) + " " +
                           support::textOf( pbStoreValueCstr( user, "userName", -1 ) );
        if( auto realm = own( pbStoreValueCstr( user, "realm", -1 ) ) )
            line += " " + pb::text( realm );
        lines.push_back( line + ( enabled ? "" : " (disabled)" ) );
    }
    return lines;
}

inline bool allEnded( const std::vector<pb::Ref<usrLookup>> &lookups )
{
    return std::all_of( lookups.begin(), lookups.end(), []( usrLookup *lookup ) { return usrLookupEnd( lookup ); } );
}

/// A test with a folder, a scheduler that the test drives itself, and a record of what is traced.
class Users : public recorded::Recorded
{
protected:
    Users() { pbSchedulerSetCurrent( scheduler ); }
    ~Users() override
    {
        while( pbSchedulerRun( scheduler, 100 ) > 0 )
            ;
        pbSchedulerStop( scheduler );
        pbSchedulerSetCurrent( nullptr );
    }

    /// A new directory; null with `reason` set.
    pb::Ref<usrDirectory> tryCreate( pbStore *configuration )
    {
        pbString *why = nullptr;
        auto directory = own( usrDirectoryTryCreate( configuration, nullptr, &why ) );
        reason = why ? support::textOf( why ) : "";
        return directory;
    }

    /// Runs processes until a condition holds; false when it does not within some seconds.
    template<class Condition>
    bool runUntil( Condition &&holds )
    {
        auto end = std::chrono::steady_clock::now() + std::chrono::seconds( 20 );
        while( !holds() )
        {
            if( std::chrono::steady_clock::now() > end )
                return false;
            if( pbSchedulerRun( scheduler, 100 ) == 0 )
                std::this_thread::sleep_for( std::chrono::microseconds( 200 ) );
        }
        return true;
    }

    pb::Ref<usrLookup> begin( usrDirectory *directory, const std::string &name, const std::string &realm = "" )
    {
        auto arguments = own( pbStoreCreate() );
        set( arguments, "userName", name );
        if( !realm.empty() )
            set( arguments, "realm", realm );
        return own( usrLookupTryCreateCstr( directory, "sipauth", -1, arguments, 0, nullptr ) );
    }

    /// What a lookup and the query for the user that it finds come to: "ID NAME PASSWORD"; or why there is none, as the
    /// trace has it.
    std::string find( usrDirectory *directory, const std::string &name, const std::string &realm = "" )
    {
        int64_t before = trRecorderLinesLength( recorder );
        auto lookup = begin( directory, name, realm );
        if( !lookup )
            return "refused";
        if( !runUntil( [&] { return usrLookupEnd( lookup ); } ) )
            return "never ended";
        auto user = own( usrLookupResult( lookup ) );
        return user ? query( user ) : whyNone( before );
    }

    /// The same for a user's id, without a lookup before.
    std::string queryId( usrDirectory *directory, const std::string &id )
    {
        return query( own( usrUserCreate( directory, string( id ) ) ) );
    }

    std::string query( usrUser *user )
    {
        int64_t before = trRecorderLinesLength( recorder );
        auto query = own( usrQueryCreateCstr( user, "sipauthCredentials", -1, own( pbStoreCreate() ), nullptr ) );
        if( !runUntil( [&] { return usrQueryEnd( query ); } ) )
            return "never ended";
        auto store = own( pbStoreFrom( usrQueryResult( query ) ) );
        if( !store )
            return whyNone( before );
        auto password = own( pbStoreValueCstr( store, "passwordBase64", -1 ) );
        auto bytes = own( rfcBaseTryDecodeString( password, RFC_BASE_64 ) );
        return support::textOf( usrUserId( user ) ) + " " +
               support::textOf( pbStoreValueCstr( store, "userName", -1 ) ) + " " + support::bytes( bytes );
    }

    /// The last reason for ending without result that was traced since the line BEFORE.
    std::string whyNone( int64_t before )
    {
        const std::string mark = "[usr___RequestEndWithout()] ";
        for( int64_t index = trRecorderLinesLength( recorder ) - 1; index >= before; index-- )
        {
            std::string text = recorded::textOf( lineAt( index ) );
            if( text.rfind( mark, 0 ) == 0 )
                return text.substr( mark.size() );
        }
        return "none, and no reason";
    }

    /// Whether a text was traced anywhere.
    bool traced( const std::string &text )
    {
        for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
        {
            if( recorded::textOf( lineAt( index ) ).find( text ) != std::string::npos )
                return true;
        }
        return false;
    }

    Folder folder;
    std::string reason;
    pb::Ref<pbScheduler> scheduler = own( pbSchedulerCreateHosted( nullptr, nullptr ) );
};

} // namespace users

#endif
