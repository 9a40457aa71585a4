// The simulated user directory: a driver that answers at once, late, with nothing, or never, as the seed says.
#ifndef SIMULATION_DIRECTORY_H
#define SIMULATION_DIRECTORY_H

#include "random.h"
#include "reference.h"
#include "story.h"
#include "usr/usr_driver.h"

#include <pb/pb_ref.hh>

#include <deque>

namespace simulation
{

/// What a request to the directory came to.
struct Inquiry
{
    std::string userName;
    int64_t due = 0; ///< when the answer comes; -1 for never
    bool answered = false;
    std::optional<Account> answer;    ///< what the asker gets; nothing when it comes too late
    usr___Request *request = nullptr; ///< a reference while it waits
};

class Directory
{
public:
    Directory( Random &random, Story &story );
    ~Directory();
    Directory( const Directory & ) = delete;

    usrDirectory *object() const { return object_; }

    /// Adds a user; the user id is the name.
    void add( const Account &account );
    /// Another password for a user.
    void change( const std::string &userName, const std::string &password );

    /// Gives one of the answers that are due. False when none is.
    bool answer( int64_t now );
    /// When the next answer is due; -1 when none is waited for.
    int64_t nextDue() const;
    /// Whether anybody waits for an answer, also one that never comes.
    bool waiting() const;
    /// All inquiries so far, in their order.
    const std::deque<Inquiry> &inquiries() const { return inquiries_; }
    /// The time limit of a request.
    int64_t timeLimit() const { return timeLimit_; }

    // Called by the driver.
    void ask( usr___Request *request, const std::string &userName );

private:
    void give( Inquiry &inquiry );

    Random &random_;
    Story &story_;
    int64_t timeLimit_;
    int temper_; ///< how it likes to answer
    std::map<std::string, std::string> passwords_;
    std::deque<Inquiry> inquiries_;
    pb::Ref<usrDirectory> object_;
};

} // namespace simulation

#endif
