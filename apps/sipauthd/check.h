// sipauthd --check: what a configuration means, in plain words, what in it is unsafe, and which phones will log in.
#ifndef SIPAUTHD_CHECK_H
#define SIPAUTHD_CHECK_H

#include "sipauthd/config_file.h"

#include <string>
#include <vector>

namespace sipauthd
{

/// What is sent to a client that has no credentials.
struct Challenge
{
    int status = 0;                 ///< 401, 407, or what else the library answers
    std::vector<std::string> lines; ///< the challenges, as they are on the wire
    int64_t bytes = 0;              ///< of the whole response to a REGISTER or INVITE of usual size
};

/// Has the library make the challenge that the options give, shaped for a profile (HOST_PROFILE). The modules must be
/// started, and no scheduler be current.
Challenge challengeOf( sipauthOptions *options, bool proxy, int64_t profile );

/// Whether a phone will log in.
struct Prospect
{
    std::string phone;
    bool logsIn = false;
    std::string why; ///< with which algorithm, or why not
};

/// What the phones that are known make of a listener's challenges.
std::vector<Prospect> prospects( const ConfigFile &file, size_t listener );

/// What is unsafe, or will not work as it seems to, one sentence each.
std::vector<std::string> warnings( const ConfigFile &file );

/// Prints all of it. Returns the exit status: 0 when there is nothing to warn of, 1 when there is, 2 when the file is
/// refused, which is told on standard error.
int checkFile( const std::string &path );

} // namespace sipauthd

#endif
