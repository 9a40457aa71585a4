// What we write into headers for ourselves and recognise again: signed, so that nobody else can make it up.
#ifndef SIPAUTHD_SEAL_H
#define SIPAUTHD_SEAL_H

#include "engine/engine.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace sipauthd
{

/// A keyed signature (HMAC-SHA-256, cut).
class Seal
{
public:
    explicit Seal( std::string secret ) : secret_( std::move( secret ) ) {}
    /// The signature of some texts, in hexadecimal digits: two for each of BYTES bytes, at most 32. Where one text ends
    /// and the next begins counts.
    std::string sign( std::initializer_list<std::string_view> parts, size_t bytes = 8 ) const;

private:
    std::string secret_;
};

/// Both neighbours of a dialog that began through us: how its requests reach either side, whatever their Contact says.
/// It stands in the user part of our Record-Route, so that we need not remember dialogs.
struct DialogToken
{
    engine::Target caller;
    engine::Target callee;
    std::string callerMark; ///< a signature of the caller's tag: tells in which direction a request goes

    static DialogToken create( const Seal &seal, const engine::Target &caller, const engine::Target &callee,
                               std::string_view callerTag );
    /// The token of a dialog with this Call-ID, in letters, digits and '.'.
    std::string text( const Seal &seal, std::string_view callId ) const;
    /// None when TEXT is no token of ours for this Call-ID.
    static std::optional<DialogToken> open( const Seal &seal, std::string_view text, std::string_view callId );
    /// Where a request goes whose From has this tag.
    const engine::Target &target( const Seal &seal, std::string_view fromTag ) const;
};

} // namespace sipauthd

#endif
