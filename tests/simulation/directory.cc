// The simulated user directory.
#include "directory.h"

#include <pb/pb_std.hh>
#include <pb/pb_timestamp.h>
#include <pb/pb_vector.h>

namespace simulation
{

// The directory of the world that lives; worlds live one after another.
static Directory *current = nullptr;

static pbObj *driverTryCreate( pbStore *, trStream *, pbString ** )
{
    // The driver needs an object of its own to hang its functions on; any will do.
    return pbVectorObj( pbVectorCreate() );
}

static void driverLookup( pbObj *, usr___Request *request, pbString *userName, pbString * )
{
    current->ask( request, pb::text( userName ) );
}

static void driverQuery( pbObj *, usr___Request *request, pbString *userId )
{
    current->ask( request, pb::text( userId ) );
}

static const usr___Driver driver = { "simulated", driverTryCreate, nullptr, driverLookup, driverQuery,
                                     nullptr,     nullptr,         nullptr, nullptr,      nullptr };

Directory::Directory( Random &random, Story &story ) : random_( random ), story_( story )
{
    timeLimit_ = random.between( 1, 4 ) * 500;
    temper_ = static_cast<int>( random.below( 4 ) );
    current = this;
    usr___DriverRegister( &driver );
    auto config = pb::own( pbStoreCreate() );
    pbStoreSetValueCstr( config.inout(), "driver", -1, pb::string( "simulated" ) );
    pbStoreSetValueIntCstr( config.inout(), "lookupTimeout", -1, timeLimit_ );
    pbStoreSetValueIntCstr( config.inout(), "maxLookups", -1, random.chance( 10 ) ? 1 : 1000 );
    pb::Ref<pbString> reason;
    object_ = pb::own( usrDirectoryTryCreate( config, nullptr, reason.inout() ) );
    if( !object_ )
        broken( "the directory cannot be made: %s", pb::text( reason.get() ).c_str() );
}

Directory::~Directory()
{
    object_.clear();
    for( Inquiry &inquiry : inquiries_ )
        if( inquiry.request )
            usr___RequestRelease( inquiry.request );
    usr___DriverUnregister( &driver );
    current = nullptr;
}

void Directory::add( const Account &account )
{
    passwords_[account.userName] = account.password;
}

void Directory::change( const std::string &userName, const std::string &password )
{
    passwords_[userName] = password;
}

void Directory::ask( usr___Request *request, const std::string &userName )
{
    Inquiry inquiry;
    inquiry.userName = userName;
    inquiry.request = usr___RequestRetain( request );
    int64_t now = pbTimestamp();
    if( temper_ == 3 && random_.chance( 20 ) )
        inquiry.due = -1;
    else if( temper_ >= 1 && random_.chance( 60 ) )
        inquiry.due = now + random_.below( timeLimit_ + timeLimit_ / 8 );
    else
        inquiry.due = now;
    bool atOnce = inquiry.due == now && ( temper_ == 0 || random_.chance( 50 ) );
    story_.tell( now, "directory: asked for %s, answers %s", userName.c_str(),
                 atOnce ? "at once" : ( inquiry.due < 0 ? "never" : "later" ) );
    inquiries_.push_back( inquiry );
    if( atOnce )
        give( inquiries_.back() );
}

void Directory::give( Inquiry &inquiry )
{
    usr___Request *request = inquiry.request;
    inquiry.request = nullptr;
    inquiry.answered = true;
    auto found = passwords_.find( inquiry.userName );
    bool late = usr___RequestEnded( request );
    story_.tell( pbTimestamp(), "directory: answers for %s: %s%s", inquiry.userName.c_str(),
                 found == passwords_.end() ? "nobody" : "found", late ? ", too late" : "" );
    if( found == passwords_.end() )
        usr___RequestEndWithout( request, "not found" );
    else
    {
        if( !late )
            inquiry.answer = Account{ found->first, found->second };
        auto credentials = pb::own( pbStoreCreate() );
        pbStoreSetValueCstr( credentials.inout(), "userName", -1, pb::string( found->first ) );
        pbStoreSetValueCstr( credentials.inout(), "password", -1, pb::string( found->second ) );
        usr___RequestEnd( request, pb::string( found->first ), credentials );
    }
    usr___RequestRelease( request );
}

bool Directory::answer( int64_t now )
{
    for( Inquiry &inquiry : inquiries_ )
        if( inquiry.request && inquiry.due >= 0 && inquiry.due <= now )
        {
            give( inquiry );
            return true;
        }
    return false;
}

int64_t Directory::nextDue() const
{
    int64_t next = -1;
    for( const Inquiry &inquiry : inquiries_ )
        if( inquiry.request && inquiry.due >= 0 && ( next < 0 || inquiry.due < next ) )
            next = inquiry.due;
    return next;
}

bool Directory::waiting() const
{
    for( const Inquiry &inquiry : inquiries_ )
        if( inquiry.request && !usr___RequestEnded( inquiry.request ) )
            return true;
    return false;
}

} // namespace simulation
