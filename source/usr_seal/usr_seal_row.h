// A user as a database keeps it, and what drivers do alike with one: choose among those of a name, answer a request.
#ifndef USR_SEAL_USR_SEAL_ROW_H
#define USR_SEAL_USR_SEAL_ROW_H

#include "usr/usr_driver.h"

#include <pb/pb_ref.hh>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace usr_seal
{

class Keys;

/// A row of the table of users; texts are UTF-8.
struct Row
{
    std::string id;
    std::string name;
    std::optional<std::string> realm;
    bool enabled = true;
    int64_t key = 0;    ///< the number of the key that the password is sealed with
    std::string sealed; ///< empty when the user has no password
};

/// One reference of a request that waits for its answer.
struct ReleaseRequest
{
    void operator()( usr___Request *request ) const { usr___RequestRelease( request ); }
};
using Request = std::unique_ptr<usr___Request, ReleaseRequest>;

inline Request retain( usr___Request *request )
{
    return Request( usr___RequestRetain( request ) );
}

/// Whom a request asks for: a user of a name and perhaps of a realm, or the user with an id.
struct Question
{
    bool byId = false;
    std::string text; ///< the name or the id
    std::optional<std::string> realm;
};

/// A string's text as UTF-8.
std::string utf8( pbString *string );
/// The same for a string that may be null.
std::optional<std::string> optionalUtf8( pbString *string );
/// A new string from UTF-8.
pb::Ref<pbString> string( const std::string &text );

/// Ends a request with the rows that a database found for its question: for a user's id at most one, for a name those
/// that come into question, the closest first, at most two. A user with just the realm asked for is the one; else the
/// user without realm; else, when no realm was asked for, the only one of that name.
void answer( usr___Request *request, const Question &question, const std::vector<Row> &rows, Keys &keys );

/// A user for a listing: a new store, without anything that is secret.
pb::Ref<pbStore> listed( const Row &row );

/// Sets *REASON, when REASON is not null, to a new string, and gives USR_RESULT_FAILED.
int64_t failed( pbString **reason, const std::string &text );

} // namespace usr_seal

#endif
