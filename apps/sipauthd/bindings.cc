// The bindings of the registrar, in memory.
#include "sipauthd/bindings.h"

#include "sipauthd/bindings_writer.h"

#include <algorithm>
#include <chrono>
#include <unordered_map>
#include <utility>

namespace sipauthd
{

int64_t wallClock()
{
    auto time = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>( time ).count();
}

namespace
{

// How often some of the addresses of record are searched for expired bindings, and which part of them at a time.
constexpr int64_t sweepInterval = 1000;
constexpr size_t sweepPart = 128;

using Stored = std::vector<StoredBinding>;

// Whether nothing but the times of a binding differs.
bool sameButTimes( const Binding &a, const Binding &b )
{
    const engine::Target &x = a.target;
    const engine::Target &y = b.target;
    return a.contact == b.contact && a.parameters == b.parameters && a.callId == b.callId && a.path == b.path &&
           a.identity == b.identity && a.q == b.q && x.transport == y.transport && x.remote == y.remote &&
           x.tlsName == y.tlsName;
}

RowChange changeOf( RowChange::Kind kind, int64_t id, const Binding &binding )
{
    RowChange change{ kind, id, binding.expires, binding.cseq, nullptr };
    if( kind == RowChange::Kind::Put )
        change.binding = std::make_unique<const Binding>( binding );
    return change;
}

class MemoryBindings : public Bindings
{
public:
    explicit MemoryBindings( engine::Engine &engine ) : engine_( engine ) {}

    bool start( const std::string &path, bool fsync, std::string *why );

    std::vector<Binding> find( const std::string &addressOfRecord ) const override;
    void replace( const std::string &addressOfRecord, std::vector<Binding> bindings,
                  std::function<void( bool ok )> committed ) override;
    size_t size() const override { return size_; }
    void flush() override { writer_->flush(); }
    void setOnFailure( std::function<void( const std::string &why )> function ) override
    {
        onFailure_ = std::move( function );
    }

private:
    int64_t rowOf( BindingsWrite &write, std::vector<bool> &kept, const Binding &binding );
    void undo( std::vector<BindingsWrite> writes, const std::string &why );
    void sweep();
    void armSweep();

    engine::Engine &engine_;
    std::unordered_map<std::string, Stored> records_;
    size_t size_ = 0;
    int64_t lastId_ = 0;
    size_t sweptBuckets_ = 0;
    std::function<void( const std::string & )> onFailure_;
    std::unique_ptr<engine::Timer> timer_;
    std::unique_ptr<BindingsWriter> writer_; ///< goes first: it may still write
};

bool MemoryBindings::start( const std::string &path, bool fsync, std::string *why )
{
    std::unique_ptr<BindingsFile> file = BindingsFile::open( path, fsync, why );
    if( !file )
        return false;
    auto take = [this]( std::string addressOfRecord, StoredBinding stored )
    {
        lastId_ = std::max( lastId_, stored.id );
        records_[std::move( addressOfRecord )].push_back( std::move( stored ) );
        size_++;
    };
    if( !file->load( wallClock(), take, why ) )
    {
        why->insert( 0, path + ": " );
        return false;
    }
    auto byQ = []( const StoredBinding &a, const StoredBinding &b ) { return a.binding.q > b.binding.q; };
    for( auto &[addressOfRecord, stored] : records_ )
        std::stable_sort( stored.begin(), stored.end(), byQ );
    auto failed = [this]( std::vector<BindingsWrite> writes, const std::string &reason )
    { undo( std::move( writes ), reason ); };
    writer_ = std::make_unique<BindingsWriter>( std::move( file ), engine_, failed );
    armSweep();
    return true;
}

std::vector<Binding> MemoryBindings::find( const std::string &addressOfRecord ) const
{
    std::vector<Binding> found;
    auto record = records_.find( addressOfRecord );
    if( record == records_.end() )
        return found;
    int64_t now = wallClock();
    for( const StoredBinding &stored : record->second )
    {
        if( stored.binding.expires > now )
            found.push_back( stored.binding );
    }
    return found;
}

void MemoryBindings::replace( const std::string &addressOfRecord, std::vector<Binding> bindings,
                              std::function<void( bool ok )> committed )
{
    if( writer_->full() )
    {
        if( committed )
            engine_.post( [committed] { committed( false ); } );
        return;
    }
    auto byQ = []( const Binding &a, const Binding &b ) { return a.q > b.q; };
    std::stable_sort( bindings.begin(), bindings.end(), byQ );
    BindingsWrite write;
    write.addressOfRecord = addressOfRecord;
    write.committed = std::move( committed );
    Stored &stored = records_[addressOfRecord];
    write.before = std::exchange( stored, {} );
    stored.reserve( bindings.size() );
    std::vector<bool> kept( write.before.size() );
    for( Binding &binding : bindings )
    {
        int64_t id = rowOf( write, kept, binding );
        stored.push_back( { id, std::move( binding ) } );
    }
    for( size_t index = 0; index < kept.size(); index++ )
    {
        if( !kept[index] )
            write.changes.push_back( changeOf( RowChange::Kind::Remove, write.before[index].id, {} ) );
    }
    size_ += stored.size() - write.before.size();
    if( stored.empty() )
        records_.erase( addressOfRecord );
    writer_->push( std::move( write ) );
}

// The number of the row of a binding, with a change that makes the row say what the binding says. KEPT tells which of
// the rows that there were have been used.
int64_t MemoryBindings::rowOf( BindingsWrite &write, std::vector<bool> &kept, const Binding &binding )
{
    for( size_t index = 0; index < kept.size(); index++ )
    {
        const StoredBinding &old = write.before[index];
        if( kept[index] || old.binding.contact != binding.contact )
            continue;
        kept[index] = true;
        if( !sameButTimes( old.binding, binding ) )
            write.changes.push_back( changeOf( RowChange::Kind::Put, old.id, binding ) );
        else if( old.binding.expires != binding.expires || old.binding.cseq != binding.cseq )
            write.changes.push_back( changeOf( RowChange::Kind::Touch, old.id, binding ) );
        return old.id;
    }
    write.changes.push_back( changeOf( RowChange::Kind::Put, ++lastId_, binding ) );
    return lastId_;
}

// Takes changes back, the youngest first.
void MemoryBindings::undo( std::vector<BindingsWrite> writes, const std::string &why )
{
    for( auto write = writes.rbegin(); write != writes.rend(); write++ )
    {
        Stored &stored = records_[write->addressOfRecord];
        size_ += write->before.size() - stored.size();
        stored = std::move( write->before );
        if( stored.empty() )
            records_.erase( write->addressOfRecord );
    }
    if( onFailure_ )
        onFailure_( why );
    for( const BindingsWrite &write : writes )
    {
        if( write.committed )
            write.committed( false );
    }
}

void MemoryBindings::armSweep()
{
    auto expire = [this]
    {
        sweep();
        armSweep();
    };
    timer_ = engine_.after( sweepInterval, expire );
}

// Removes what has expired from a part of the records.
void MemoryBindings::sweep()
{
    int64_t now = wallClock();
    auto expired = [now]( const StoredBinding &stored ) { return stored.binding.expires <= now; };
    std::vector<std::string> found;
    for( size_t count = records_.bucket_count() / sweepPart + 1; count > 0; count-- )
    {
        size_t bucket = sweptBuckets_++ % records_.bucket_count();
        for( auto record = records_.begin( bucket ); record != records_.end( bucket ); record++ )
        {
            if( std::any_of( record->second.begin(), record->second.end(), expired ) )
                found.push_back( record->first );
        }
    }
    for( const std::string &addressOfRecord : found )
        replace( addressOfRecord, find( addressOfRecord ), nullptr );
}

} // namespace

std::unique_ptr<Bindings> Bindings::open( const std::string &path, bool fsync, engine::Engine &engine,
                                          std::string *why )
{
    why->clear();
    auto bindings = std::make_unique<MemoryBindings>( engine );
    if( !bindings->start( path, fsync, why ) )
        return nullptr;
    return bindings;
}

} // namespace sipauthd
