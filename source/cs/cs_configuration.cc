// Configurations in force. A load goes in two halves: everything that can fail is done first and can be taken back
// (read, update, check, make what is new, rewrite the file); applying what was made cannot fail.
#include "cs/cs_private.h"
#include "cs/cs_sort_backend_private.h"
#include "pb/pb_hold.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"

#include <cs/cs_configuration.h>
#include <cs/cs_file.h>
#include <cs/cs_object.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace
{

// An object of the configuration.
struct Entry
{
    pb::Ref<pbString> name;
    pb::Ref<csSortBackend> backend;
    pb::Ref<pbObj> object;
    pb::Ref<pbStore> normal; ///< the canonical form of its configuration
};

// What is to happen with an object.
struct Step
{
    Entry entry;
    pb::Ref<pbStore> config; ///< as the file has it
    bool isNew;
    bool isChanged;
};

using Entries = std::vector<Entry>;
using Steps = std::vector<Step>;

} // namespace

struct csConfiguration
{
    pb::Object object;
    pb::Field<pbMonitor> monitor; ///< loads one at a time
    pb::Field<csFormat> format;
    pb::Field<pbString> path;
    pb::Field<trStream> stream;
    pb::Field<pbStore> versions; ///< as the file records them
    Entries entries;             ///< in the order of the file
};

PB_TYPE( csConfiguration, CS_CONFIGURATION, cs, cs___ConfigurationFreeFunc, nullptr );

namespace
{

const Entry *find( const Entries &entries, pbString *name )
{
    auto found = std::find_if( entries.begin(), entries.end(),
                               [=]( const Entry &entry ) { return pbStringEquals( entry.name, name ) != 0; } );
    return found == entries.end() ? nullptr : &*found;
}

void end( const Entry &entry )
{
    if( entry.backend->end )
        entry.backend->end( entry.object );
}

void unload( csConfiguration *configuration )
{
    Entries &entries = configuration->entries;
    for( ; !entries.empty(); entries.pop_back() )
    {
        csSetObject( entries.back().name, nullptr );
        end( entries.back() );
    }
}

pb::Ref<trAnchor> anchorFor( csConfiguration *configuration, pbString *name )
{
    auto text = pb::own( pbBufferCreateFromString( name ) );
    return pb::own( trAnchorCreateWithAnnotationCstr(
        configuration->stream, 0, reinterpret_cast<const char *>( pbBufferBacking( text ) ), pbBufferLength( text ) ) );
}

// What a load would do, made so far that only applying is left. What was made is ended again unless it is applied.
class Load
{
public:
    explicit Load( csConfiguration *configuration ) : configuration_( configuration ) {}
    ~Load()
    {
        for( const Step &step : steps_ )
            if( step.isNew )
                end( step.entry );
    }
    Load( const Load & ) = delete;
    Load &operator=( const Load & ) = delete;

    /// False with *REASON set, which is not null.
    bool tryPrepare( pbString **reason )
    {
        auto file = pb::own( csFileTryRead( configuration_->format, configuration_->path, reason ) );
        if( !file )
            return false;
        auto stored = pb::own( csFileUpdate( file ) );
        pb::Ref<csUpdate> update = stored;
        csUpdateRun( update.inout() );
        auto normal = pb::own( csFileTryNormalize( file, update, 0, reason ) );
        if( !normal || !tryMake( update, normal, reason ) )
            return false;
        versions_ = pb::own( csUpdateModuleVersions( update ) );
        return csUpdateEquals( stored, update ) || csFileTryRewrite( file, update, reason );
    }

    void apply()
    {
        Entries before = std::exchange( configuration_->entries, {} );
        configuration_->versions = versions_;
        for( const Step &step : steps_ )
        {
            if( step.isNew )
                csSetObject( step.entry.name, step.entry.object );
            else if( step.isChanged )
                step.entry.backend->setConfig( step.entry.object, step.config );
            configuration_->entries.push_back( step.entry );
        }
        steps_.clear();
        for( ; !before.empty(); before.pop_back() )
            leave( before.back() );
    }

private:
    bool tryMake( csUpdate *update, csUpdate *normal, pbString **reason )
    {
        auto names = pb::own( csUpdateAllObjects( update ) );
        for( int64_t index = 0; index < csUpdateObjectsLength( names ); index++ )
        {
            auto name = pb::own( csUpdateObjectsNameAt( names, index ) );
            auto sortName = pb::own( csUpdateObjectSortName( update, name ) );
            Step step = {
                { name, cs::sortBackend( sortName ), nullptr, pb::own( csUpdateObjectConfig( normal, name ) ) },
                pb::own( csUpdateObjectConfig( update, name ) ),
                false,
                false };
            if( !tryMakeObject( step ) )
            {
                refuse( name, reason );
                return false;
            }
            steps_.push_back( step );
        }
        return true;
    }

    // The object of an earlier load stays when it is of the same sort.
    bool tryMakeObject( Step &step )
    {
        const Entry *before = find( configuration_->entries, step.entry.name );
        if( before && before->backend.get() == step.entry.backend.get() )
        {
            step.entry.object = before->object;
            step.isChanged = !pbStoreEquals( before->normal, step.entry.normal );
            return true;
        }
        step.isNew = true;
        step.entry.object =
            pb::own( step.entry.backend->tryCreate( step.config, anchorFor( configuration_, step.entry.name ) ) );
        return static_cast<bool>( step.entry.object );
    }

    void refuse( pbString *name, pbString **reason )
    {
        auto text = pb::own(
            pbStringCreateFromFormatCstr( "%s: object '%s' cannot be made", -1, configuration_->path.get(), name ) );
        std::swap( *reason, *text.inout() );
    }

    // Ends an object of before unless it stays. A name that another object has now keeps that one.
    void leave( const Entry &entry )
    {
        const Entry *now = find( configuration_->entries, entry.name );
        if( now && now->object.get() == entry.object.get() )
            return;
        if( !now )
            csSetObject( entry.name, nullptr );
        end( entry );
    }

    csConfiguration *configuration_;
    Steps steps_;
    pb::Ref<pbStore> versions_;
};

// One line for whoever looks at the trace: what happened, and why when it did not.
bool load( csConfiguration *configuration, pbString **reason )
{
    Load load( configuration );
    pb::Ref<pbString> why;
    if( load.tryPrepare( why.inout() ) )
    {
        load.apply();
        tr::text( configuration->stream, "loaded" );
        return true;
    }
    trStreamSetNotable( configuration->stream );
    TR_TEXT_FORMAT( configuration->stream, "refused: %s", why.get() );
    if( reason )
        std::swap( *reason, *why.inout() );
    return false;
}

} // namespace

static void cs___ConfigurationFreeFunc( pbObj *obj )
{
    csConfiguration *configuration = csConfigurationFrom( obj );
    PB_ASSERT( configuration );
    unload( configuration );
    std::destroy_at( &configuration->entries );
    pb::poison( configuration->monitor, configuration->format, configuration->path, configuration->stream,
                configuration->versions );
}

csConfiguration *csConfigurationTryLoad( csFormat *format, pbString *path, trAnchor *anchor, pbString **reason )
{
    PB_ASSERT( format );
    PB_ASSERT( path );
    auto configuration = pb::create<csConfiguration>( csConfigurationSort() );
    new( &configuration->entries ) Entries;
    configuration->monitor = pb::own( pbMonitorCreate() );
    configuration->format = pb::share( format );
    configuration->path = pb::share( path );
    configuration->stream = tr::begin( "CS_CONFIGURATION", anchor );
    configuration->versions = pb::own( pbStoreCreate() );
    return load( configuration, reason ) ? configuration.give() : nullptr;
}

pbBool csConfigurationTryReload( csConfiguration *configuration, pbString **reason )
{
    PB_ASSERT( configuration );
    pb::Hold hold( configuration->monitor );
    return load( configuration, reason );
}

csUpdate *csConfigurationRead( csConfiguration *configuration, int64_t storeFlags )
{
    PB_ASSERT( configuration );
    pb::Hold hold( configuration->monitor );
    auto update = pb::own( csUpdateCreate() );
    csUpdateSetModuleVersions( update.inout(), configuration->versions );
    for( const Entry &entry : configuration->entries )
        csUpdateSetObject( update.inout(), entry.name, entry.backend->sort,
                           pb::own( entry.backend->config( entry.object, storeFlags ) ) );
    return update.give();
}

void csConfigurationUnload( csConfiguration *configuration )
{
    PB_ASSERT( configuration );
    pb::Hold hold( configuration->monitor );
    unload( configuration );
}
