// sipauth user: the users of a directory and their passwords.
#include "commands.h"
#include "user_directory.h"

#include <nlohmann/json.hpp>
#include <usr/usr_administration.h>

#include <fmt/format.h>

#include <functional>
#include <memory>

namespace tool
{

namespace
{

struct Arguments
{
    std::string config;
    std::string directory;
    std::string user; ///< the id; of a new user the name
    std::string realm;
    std::string id;
    PasswordSource password;
    bool json = false;
};

// In the order of the results (USR_RESULT).
constexpr const char *results[] = { "ok", "exists", "not found", "unsupported", "failed" };
static_assert( std::size( results ) == USR_RESULT_FAILED + 1 );

// A change: makes it and gives its result.
using Change = int64_t ( * )( usrDirectory *directory, const Arguments &arguments, pbString **reason );

int64_t addOne( usrDirectory *directory, const Arguments &arguments, pbString **reason )
{
    auto id = arguments.id.empty() ? pb::Ref<pbString>() : pb::string( arguments.id );
    auto realm = arguments.realm.empty() ? pb::Ref<pbString>() : pb::string( arguments.realm );
    auto password = arguments.password.readNew( arguments.user );
    return usrDirectoryAddUser( directory, id, pb::string( arguments.user ), realm, password, reason );
}

int64_t setPassword( usrDirectory *directory, const Arguments &arguments, pbString **reason )
{
    auto password = arguments.password.readNew( arguments.user );
    return usrDirectorySetPassword( directory, pb::string( arguments.user ), password, reason );
}

int64_t disable( usrDirectory *directory, const Arguments &arguments, pbString **reason )
{
    return usrDirectorySetUserEnabled( directory, pb::string( arguments.user ), 0, reason );
}

int64_t enable( usrDirectory *directory, const Arguments &arguments, pbString **reason )
{
    return usrDirectorySetUserEnabled( directory, pb::string( arguments.user ), 1, reason );
}

int64_t deleteOne( usrDirectory *directory, const Arguments &arguments, pbString **reason )
{
    return usrDirectoryDeleteUser( directory, pb::string( arguments.user ), reason );
}

Exit change( const Arguments &arguments, Change make, const char *done )
{
    UserDirectory users( arguments.config, arguments.directory );
    pb::Ref<pbString> reason;
    int64_t result = make( users.directory(), arguments, reason.inout() );
    std::string why = result == USR_RESULT_OK ? "" : pb::text( reason );
    if( result == USR_RESULT_OK && !users.tryKeep( why ) )
        result = USR_RESULT_FAILED;
    const std::string &id = arguments.id.empty() ? arguments.user : arguments.id;
    if( result != USR_RESULT_OK )
        note( fmt::format( "{}: {}: {}", users.name(), id, why ) );
    if( arguments.json )
        printJson( { { "directory", users.name() },
                     { "userId", id },
                     { "result", results[result] },
                     { "reason", result == USR_RESULT_OK ? Json() : Json( why ) } } );
    else if( result == USR_RESULT_OK )
        print( fmt::format( "{}: {} {}\n", users.name(), id, done ) );
    return result == USR_RESULT_OK ? exitYes : exitNo;
}

Json toJson( pbStore *user )
{
    pbBool enabled = 0;
    pbStoreValueBoolCstr( user, "enabled", -1, &enabled );
    auto realm = pb::own( pbStoreValueCstr( user, "realm", -1 ) );
    return { { "userId", pb::textOf( pbStoreValueCstr( user, "userId", -1 ) ) },
             { "userName", pb::textOf( pbStoreValueCstr( user, "userName", -1 ) ) },
             { "realm", realm ? Json( pb::text( realm ) ) : Json() },
             { "enabled", enabled != 0 } };
}

// One line: the id, the name with the realm behind it, and what is special.
std::string describe( const Json &user )
{
    std::string line = user["userId"].get<std::string>();
    if( user["userName"] != user["userId"] || !user["realm"].is_null() )
        line += "  " + user["userName"].get<std::string>();
    if( !user["realm"].is_null() )
        line += "  realm " + user["realm"].get<std::string>();
    return line + ( user["enabled"].get<bool>() ? "\n" : "  disabled\n" );
}

Exit list( const Arguments &arguments )
{
    UserDirectory users( arguments.config, arguments.directory );
    pb::Ref<pbVector> found;
    pb::Ref<pbString> reason;
    int64_t result = usrDirectoryListUsers( users.directory(), found.inout(), reason.inout() );
    if( result != USR_RESULT_OK )
    {
        note( fmt::format( "{}: {}", users.name(), pb::text( reason ) ) );
        if( arguments.json )
            printJson( { { "directory", users.name() }, { "result", results[result] }, { "users", nullptr } } );
        return exitNo;
    }
    Json all = Json::array();
    for( int64_t index = 0; index < pbVectorLength( found ); index++ )
        all.push_back( toJson( pb::own( pbStoreFrom( pbVectorObjAt( found, index ) ) ) ) );
    if( arguments.json )
        printJson( { { "directory", users.name() }, { "result", results[result] }, { "users", all } } );
    else
        for( const Json &user : all )
            print( describe( user ) );
    return exitYes;
}

// A command with the options that all of them have.
Command addCommand( Command user, const char *name, const char *description, Arguments &arguments,
                    const std::function<Exit()> &run, Exit &result )
{
    Command command = user.add( name, description );
    command.option( "--config", arguments.config, "The configuration file (TOML)" ).required();
    command.option( "--directory", arguments.directory,
                    "The directory's name in it; not needed when there is only one" );
    addJson( command, arguments.json );
    command.onCall( [run, &result] { result = run(); } );
    return command;
}

Command addChange( Command user, const char *name, const char *description, Change make, const char *done,
                   const std::shared_ptr<Arguments> &arguments, Exit &result )
{
    auto run = [arguments, make, done] { return change( *arguments, make, done ); };
    return addCommand( user, name, description, *arguments, run, result );
}

void addOf( Command user, const char *name, const char *description, Change make, const char *done, bool password,
            Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = addChange( user, name, description, make, done, arguments, result );
    command.option( "ID", arguments->user, "The user's id" ).required();
    if( password )
        arguments->password.addTo( command );
}

void addAdd( Command user, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = addChange( user, "add", "Add a user", addOne, "added", arguments, result );
    command.option( "NAME", arguments->user, "The user name that the user authenticates with" ).required();
    command.option( "--realm", arguments->realm, "The realm, when the user is to be known in that one only" );
    command.option( "--id", arguments->id,
                    "The id by which commands and references know the user; the name "
                    "without it" );
    arguments->password.addTo( command );
}

void addList( Command user, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    addCommand(
        user, "list", "List the users", *arguments, [arguments] { return list( *arguments ); }, result );
}

} // namespace

void addUser( Command app, Exit &result )
{
    Command user = app.add( "user", "Administrate the users of a directory" );
    user.requireCommand();
    addAdd( user, result );
    addOf( user, "password", "Give a user another password", setPassword, "has another password", true, result );
    addOf( user, "disable", "Let nobody find a user", disable, "disabled", false, result );
    addOf( user, "enable", "Let a disabled user be found again", enable, "enabled", false, result );
    addOf( user, "delete", "Delete a user", deleteOne, "deleted", false, result );
    addList( user, result );
}

} // namespace tool
