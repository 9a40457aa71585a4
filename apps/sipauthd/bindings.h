// The bindings of the registrar (RFC 3261 section 10): where each address of record can be reached. They live in memory
// and in an SQLite file; a change counts when it is committed there, and only then is the caller told.
#ifndef SIPAUTHD_BINDINGS_H
#define SIPAUTHD_BINDINGS_H

#include "engine/engine.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace sipauthd
{

struct Binding
{
    std::string contact;    ///< the URI as it was registered
    std::string parameters; ///< the Contact's parameters but expires, ";q=0.5"
    int64_t expires = 0;    ///< wall-clock milliseconds
    std::string callId;
    uint32_t cseq = 0;
    std::string path;     ///< Path values (RFC 3327), comma separated; empty for none
    std::string identity; ///< the user who registered it
    /// How the client was reached when it registered: for clients behind NAT and connections. The file keeps all but
    /// the flow, since connections do not outlive the process.
    engine::Target target;
    int q = 1000; ///< thousandths
};

/// Wall-clock milliseconds since 1970.
int64_t wallClock();

class Bindings
{
public:
    /// Opens or makes the file, which one process at a time has for itself, and reads the bindings that have not
    /// expired. FSYNC: a commit also outlives a crash of the machine, not only one of this process. Null with *WHY.
    static std::unique_ptr<Bindings> open( const std::string &path, bool fsync, engine::Engine &engine,
                                           std::string *why );
    virtual ~Bindings() = default;

    /// The bindings of an address of record that have not expired, the highest q first.
    virtual std::vector<Binding> find( const std::string &addressOfRecord ) const = 0;
    /// Replaces all bindings of an address of record, at once in memory. COMMITTED is called in the engine's thread
    /// when this change and all before it are in the file (true), or could not be written (false: the old ones are
    /// back). Changes are written by a thread of its own, as many in one transaction as are waiting. When too many
    /// wait, this one fails without having been made.
    virtual void replace( const std::string &addressOfRecord, std::vector<Binding> bindings,
                          std::function<void( bool ok )> committed ) = 0;
    /// How many bindings there are; expired ones count until they are purged, some minutes later.
    virtual size_t size() const = 0;
    /// Writes what is waiting, and returns when it is in the file or could not be written. Callbacks come as always.
    virtual void flush() = 0;
    /// Sets what is called in the engine's thread with the reason when a transaction could not be written.
    virtual void setOnFailure( std::function<void( const std::string &why )> ) {}
};

} // namespace sipauthd

#endif
