// What the commands of the tool share: exit codes, input, passwords and output.
#ifndef SIPAUTH_TOOL_H
#define SIPAUTH_TOOL_H

#include "command_line.h"

#include <nlohmann/json_fwd.hpp>
#include <pb/pb_std.hh>
#include <sipsn/sipsn_message.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace tool
{

using Json = nlohmann::ordered_json;

/// What a command ends with: yes (it worked, it passed), no, or a mistake in the call or in what it was given.
enum Exit
{
    exitYes = 0,
    exitNo = 1,
    exitUsage = 2,
    exitNetwork = 3 ///< only of the user agent: no answer, or no way to send
};

/// A mistake of the caller; told on standard error, ends the tool with exitUsage.
struct UsageError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/// Something wrong at a place of an input, told as a compiler tells it.
struct Finding
{
    std::string file;
    int64_t line;
    int64_t column; ///< from 1; 0 when the whole line is meant
    std::string what;
};

/// "file:line:column: error: what".
std::string describe( const Finding &finding );

Json toJson( const std::vector<Finding> &findings );

/// The bytes of a file, or of standard input for "-".
std::string readInput( const std::string &path );

/// The SIP message in a file or on standard input. A message that does not decode is the caller's mistake.
pb::Ref<sipsnMessage> readMessage( const std::string &path );

/// A message with what an editor or a shell may have taken from its headers: CR before LF, and the empty line behind
/// them. The body stays as it is.
std::string withLineEnds( const std::string &text );

/// Where a password comes from: an environment variable, a file (its first line), or a prompt on the terminal. Never
/// from the command line, which every user of the machine can read.
class PasswordSource
{
public:
    void addTo( Command command );
    /// The password; asks for it as USER's when no source was given.
    pb::Ref<pbString> read( const std::string &user ) const;
    /// The same for a password that is to be set: a prompt asks for it twice.
    pb::Ref<pbString> readNew( const std::string &user ) const;

private:
    bool given() const { return !environment_.empty() || !file_.empty(); }
    std::string fromSource() const;

    std::string environment_;
    std::string file_;
};

/// Adds the option --json, the same for every command.
void addJson( Command command, bool &json );

void print( const std::string &text );
void printJson( const Json &json );
/// Diagnostics: one line on standard error.
void note( const std::string &text );

} // namespace tool

#endif
