// What a check of credentials finds out, and how it is told.
#include "verdict.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace tool
{

bool Verdict::passed() const
{
    return !steps.empty() &&
           std::all_of( steps.begin(), steps.end(), []( const Step &step ) { return step.outcome == "pass"; } );
}

const Step *Verdict::failed() const
{
    for( const Step &step : steps )
        if( step.outcome == "fail" )
            return &step;
    return nullptr;
}

namespace
{

Json causeJson( const Cause &cause )
{
    return { { "kind", cause.kind }, { "text", cause.text } };
}

Json verdictJson( const Verdict &verdict, bool secrets )
{
    Json steps = Json::array(), notes = Json::array();
    for( const Step &step : verdict.steps )
        steps.push_back( { { "check", step.name }, { "outcome", step.outcome }, { "detail", step.detail } } );
    for( const Cause &text : verdict.notes )
        notes.push_back( causeJson( text ) );
    Json result = { { "passed", verdict.passed() },
                    { "checks", steps },
                    { "received", verdict.received },
                    { "computed", verdict.computed },
                    { "cause", verdict.cause ? causeJson( *verdict.cause ) : Json() },
                    { "notes", notes } };
    if( secrets )
        result["secrets"] = verdict.secrets;
    return result;
}

} // namespace

void printVerdict( const Verdict &verdict, bool secrets, bool json )
{
    if( json )
    {
        printJson( verdictJson( verdict, secrets ) );
        return;
    }
    for( const Step &step : verdict.steps )
        print(
            fmt::format( "{:<12} {}{}{}\n", step.outcome, step.name, step.detail.empty() ? "" : ": ", step.detail ) );
    if( !verdict.received.empty() )
        print( fmt::format( "received     {}\n", verdict.received ) );
    if( !verdict.computed.empty() )
        print( fmt::format( "computed     {}\n", verdict.computed ) );
    if( secrets )
        for( const std::string &secret : verdict.secrets )
            print( fmt::format( "secret       {}\n", secret ) );
    for( const Cause &text : verdict.notes )
        print( fmt::format( "note         {}\n", text.text ) );
    if( verdict.cause )
        print( fmt::format( "cause        {}\n", verdict.cause->text ) );
}

} // namespace tool
