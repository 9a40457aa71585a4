// What the table at the end compares: each measured operation with the bare hash calls, or the bare copy, that the same
// work needs, and with the figures aimed at.
#ifndef BENCH_TARGETS_H
#define BENCH_TARGETS_H

#include <string>
#include <vector>

namespace bench
{

/// A figure that is no time of an operation, printed below the table.
struct Figure
{
    std::string name; ///< with its unit
    double value;
    double must; ///< 0 for none
    double stretch;
};

/// What the benchmarks that ran have found.
inline std::vector<Figure> figures;

struct Target
{
    const char *operation; ///< the benchmark's name
    const char *bare;      ///< the benchmark to divide by
    double must;           ///< 0 for none
    double stretch;
};

/// "bare/md5/auth" is H: the three hash calls of one Digest check with qop auth.
inline constexpr Target targets[] = {
    { "decode/challenge", "bare/md5/auth", 0.6, 0.3 },
    { "decode/authorization", "bare/md5/auth", 0.9, 0.5 },
    { "encode/challenge", "bare/md5/auth", 0.4, 0.2 },
    { "encode/authorization", "bare/md5/auth", 0.4, 0.2 },
    { "response/md5/none", "bare/md5/none", 1.4, 1.15 },
    { "response/md5/auth", "bare/md5/auth", 1.4, 1.15 },
    { "response/md5/auth-int", "bare/md5/auth-int", 1.4, 1.15 },
    { "response/sha256/none", "bare/sha256/none", 1.5, 1.25 },
    { "response/sha256/auth", "bare/sha256/auth", 1.5, 1.25 },
    { "response/sha256/auth-int", "bare/sha256/auth-int", 1.5, 1.25 },
    { "response/sha512/none", "bare/sha512/none", 0, 0 },
    { "response/sha512/auth", "bare/sha512/auth", 0, 0 },
    { "response/sha512/auth-int", "bare/sha512/auth-int", 0, 0 },
    { "check/md5", "bare/md5/auth", 2.0, 1.4 },
    { "answer/md5", "bare/md5/auth", 2.4, 1.6 },
    { "nonce", "bare/md5/auth", 0.25, 0.1 },
    { "challenges/standard", "bare/md5/auth", 8, 3 },
    { "challenges/compatible", "bare/md5/auth", 0, 0 },
    { "challenges/minimal", "bare/md5/auth", 0, 0 },
    { "challenges/swyx", "bare/md5/auth", 0, 0 },
    { "parse/register", "bare/md5/auth", 1.0, 0.4 },
    { "parse/register", "bare/copy", 0, 0 },
    { "database/store/1000", "bare/md5/auth", 2.4, 0.3 },
    { "database/store/100000", "bare/md5/auth", 4.8, 0.3 },
    { "database/store/1000000", "bare/md5/auth", 7.2, 0.3 },
    { "database/take/1000", "bare/md5/auth", 2.4, 2 },
    { "database/take/100000", "bare/md5/auth", 6, 2 },
    { "database/take/1000000", "bare/md5/auth", 9, 2 },
    { "process/one", "bare/md5/auth", 0.3, 0.1 },
    { "process/hundred", "bare/md5/auth", 0, 0 },
    { "server/stored", "bare/md5/auth", 10, 5 },
    { "server/kept", "bare/md5/auth", 8, 4 },
    { "server/challenge", "bare/md5/auth", 8, 4 },
    { "server/challenging", "bare/md5/auth", 0, 0 },
    { "client", "bare/md5/auth", 8, 4 },
};

} // namespace bench

#endif
