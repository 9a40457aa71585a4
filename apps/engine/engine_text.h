// SIP messages as text, as far as the engine must read and make them: single headers, ACK and CANCEL (RFC 3261 sections
// 17.1.1.3 and 9.1).
#ifndef ENGINE_ENGINE_TEXT_H
#define ENGINE_ENGINE_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace engine
{

/// The values of all headers of a name, in order; SHORT is its compact form, 0 for none. Folded lines are kept folded.
std::vector<std::string_view> headersOf( std::string_view message, std::string_view name, char shortName = 0 );
/// The first of them, "" for none.
std::string_view headerOf( std::string_view message, std::string_view name, char shortName = 0 );
/// The first item of the first Via.
std::string_view topViaOf( std::string_view message );
/// The value of a parameter of a Via, "" for none.
std::string_view viaParameter( std::string_view via, std::string_view name );
/// The host and port of a Via as they stand.
std::string_view sentByOf( std::string_view via );
/// The status of a response, 0 when it is none.
int statusOf( std::string_view message );
/// The first word of a request.
std::string_view methodOf( std::string_view request );
/// The method of the CSeq, "" for none.
std::string_view cseqMethodOf( std::string_view message );

/// The ACK for a final response other than 2xx to an INVITE.
std::string makeAckFor( std::string_view invite, std::string_view response );
/// The CANCEL for an INVITE.
std::string makeCancelFor( std::string_view invite );

/// Whether two texts are the same but for the case of ASCII letters.
bool sameName( std::string_view a, std::string_view b );

} // namespace engine

#endif
