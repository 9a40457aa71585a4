// A user directory that answers as it likes.
#include "directory.h"

#include <pb/pb_std.hh>
#include <pb/pb_vector.h>

namespace soak
{

SlowDriver *SlowDriver::current_ = nullptr;

const usr___Driver SlowDriver::driver_ = {
    .name = "slow",
    .tryCreate = tryCreate,
    .close = close,
    .lookup = lookup,
    .query = query,
    .add = nullptr,
    .setPassword = nullptr,
    .setEnabled = nullptr,
    .remove = nullptr,
    .list = nullptr,
};

SlowDriver::SlowDriver( uint64_t seed ) : random_( seed )
{
    current_ = this;
    usr___DriverRegister( &driver_ );
    thread_ = std::thread( [this] { answerQuestions(); } );
}

SlowDriver::~SlowDriver()
{
    usr___DriverUnregister( &driver_ );
    {
        std::lock_guard lock( mutex_ );
        stopped_ = true;
    }
    changed_.notify_all();
    thread_.join();
    current_ = nullptr;
}

pbObj *SlowDriver::tryCreate( pbStore *, trStream *, pbString ** )
{
    // Only its address counts: it tells the questions to one directory from those to another.
    return pbVectorObj( pbVectorCreate() );
}

void SlowDriver::close( pbObj *driver )
{
    std::list<Question> dropped;
    {
        std::lock_guard lock( current_->mutex_ );
        auto &questions = current_->questions_;
        for( auto it = questions.begin(); it != questions.end(); )
        {
            auto question = it++;
            if( question->driver == driver )
                dropped.splice( dropped.end(), questions, question );
        }
        current_->changed_.notify_all();
    }
    for( Question &question : dropped )
        usr___RequestRelease( question.request );
}

void SlowDriver::lookup( pbObj *driver, usr___Request *request, pbString *userName, pbString * )
{
    current_->ask( driver, request, pb::text( userName ) );
}

void SlowDriver::query( pbObj *driver, usr___Request *request, pbString *userId )
{
    current_->ask( driver, request, pb::text( userId ) );
}

void SlowDriver::answer( usr___Request *request, const std::string &user )
{
    if( user != "alice" )
        return usr___RequestEndWithout( request, usr___notFound );
    auto name = pb::string( user );
    auto credentials = pb::own( usr___CredentialsStore( name, pb::string( "wonderland" ) ) );
    usr___RequestEnd( request, name, credentials );
}

void SlowDriver::hurry()
{
    std::lock_guard lock( mutex_ );
    hurried_ = true;
    for( Question &question : questions_ )
        question.due = Clock::time_point::min();
    changed_.notify_all();
}

void SlowDriver::waitUntilNothingIsOpen()
{
    std::unique_lock lock( mutex_ );
    changed_.wait( lock, [this] { return questions_.empty() && answering_ == 0; } );
}

void SlowDriver::ask( pbObj *driver, usr___Request *request, const std::string &user )
{
    std::unique_lock lock( mutex_ );
    uint64_t mood = random_() % 100;
    if( mood < 50 || hurried_ )
    {
        lock.unlock();
        return answer( request, user );
    }
    auto due = Clock::time_point::max(); // never
    if( mood < 96 )
        due = Clock::now() + std::chrono::microseconds( random_() % 500 );
    else if( mood < 98 )
        due = Clock::now() + std::chrono::milliseconds( lookupTimeout - 1 + int64_t( random_() % 3 ) );
    questions_.push_back( { driver, usr___RequestRetain( request ), user, due } );
    changed_.notify_all();
}

// Takes a question out whose time has come. False when there is none, with the next time at which there may be one.
bool SlowDriver::takeDue( Question *question, Clock::time_point *next )
{
    auto now = Clock::now();
    *next = Clock::time_point::max();
    for( auto it = questions_.begin(); it != questions_.end(); ++it )
    {
        if( it->due <= now )
        {
            *question = *it;
            questions_.erase( it );
            return true;
        }
        *next = std::min( *next, it->due );
    }
    return false;
}

void SlowDriver::answerQuestions()
{
    std::unique_lock lock( mutex_ );
    while( !stopped_ )
    {
        Question question = {};
        Clock::time_point next;
        if( takeDue( &question, &next ) )
        {
            answering_++;
            lock.unlock();
            answer( question.request, question.user );
            usr___RequestRelease( question.request );
            lock.lock();
            answering_--;
            changed_.notify_all();
        }
        else if( next == Clock::time_point::max() )
            changed_.wait( lock );
        else
            changed_.wait_until( lock, next );
    }
}

} // namespace soak
