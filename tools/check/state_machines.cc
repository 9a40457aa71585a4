// Prints docs/state-machines.md: what the tables of steps say about the library's state machines.
#include "sipauth/client/sipauth_client_cotrans_imp_private.h"
#include "sipauth/server/sipauth_server_cotrans_imp_private.h"

#include <cstring>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace
{

constexpr char opening[] = R"(# State machines

Each transaction with authentication is a process that runs a state machine. A machine is a table with one row for each
state; this page is written from these tables, so change them and not the page, and then write it anew:

    cmake --build --preset dev --target state-machines-page

A step does the work of its state and returns the next one. A step that returns its own state waits: for the host, for
the session's state while another transaction has it, or for a user directory. The process then runs again when what it
waits for happens.

A run goes from step to step until one waits. It holds the object's monitor all the time, and no step blocks. Whatever
a step returns must be among the next states of its row, or its own; anything else ends the program, as does a state
outside the table.
)";

// A state as the page shows it: its number is its row.
struct State
{
    std::string name;
    std::string work;
    std::vector<size_t> next;
};

template<class Imp, size_t count>
std::vector<State> statesOf( const sipauth::Step<Imp> ( &steps )[count] )
{
    std::vector<State> states;
    for( const auto &step : steps )
    {
        State state = { step.name, step.work, {} };
        for( size_t next = 0; next < count; next++ )
        {
            if( step.next >> next & 1 )
                state.next.push_back( next );
        }
        states.push_back( state );
    }
    return states;
}

// The name without the word that all names begin with.
std::string shortName( const State &state )
{
    return state.name.substr( std::strlen( "STATE_" ) );
}

void printTable( const std::vector<State> &states )
{
    std::cout << "| number | state | what it does | next states |\n|---|---|---|---|\n";
    for( size_t number = 0; number < states.size(); number++ )
    {
        const State &state = states[number];
        std::cout << "| " << number << " | `" << state.name << "` | " << state.work << " |";
        const char *separator = " ";
        for( size_t next : state.next )
        {
            std::cout << separator << '`' << states[next].name << '`';
            separator = ", ";
        }
        std::cout << ( state.next.empty() ? " none: the end |\n" : " |\n" );
    }
}

void printDiagram( const std::vector<State> &states )
{
    std::cout << "\n```mermaid\nstateDiagram-v2\n    [*] --> " << shortName( states[0] ) << '\n';
    for( const State &state : states )
    {
        for( size_t next : state.next )
            std::cout << "    " << shortName( state ) << " --> " << shortName( states[next] ) << '\n';
        if( state.next.empty() )
            std::cout << "    " << shortName( state ) << " --> [*]\n";
    }
    std::cout << "```\n";
}

void printMachine( const char *title, const char *about, const std::vector<State> &states )
{
    std::cout << "\n## " << title << "\n\n" << about << "\n\n";
    printTable( states );
    printDiagram( states );
}

} // namespace

int main()
{
    std::cout << opening;
    printMachine( "Client co-transactions",
                  "What `sipauthClientCotrans` does with the messages of one transaction that the host sends.",
                  statesOf( sipauth___ClientCotransImpSteps ) );
    printMachine( "Server co-transactions",
                  "What `sipauthServerCotrans` does with the messages of one transaction that the host receives.",
                  statesOf( sipauth___ServerCotransImpSteps ) );
    return std::cout.flush() ? 0 : 1;
}
