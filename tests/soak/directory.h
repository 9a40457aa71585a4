// A user directory that answers as it likes: at once, later from a thread of its own, after the time limit, or never.
#ifndef SOAK_DIRECTORY_H
#define SOAK_DIRECTORY_H

#include "usr/usr_driver.h"

#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <random>
#include <string>
#include <thread>

namespace soak
{

/// How long a directory may take, in milliseconds, for its configuration.
inline constexpr int64_t lookupTimeout = 10;

/// The driver "slow", for as long as this lives; there may be one. It knows "alice" with the password "wonderland".
class SlowDriver
{
public:
    explicit SlowDriver( uint64_t seed );
    ~SlowDriver();
    SlowDriver( const SlowDriver & ) = delete;
    SlowDriver &operator=( const SlowDriver & ) = delete;

    /// From now on every question is answered at once, and so are those that were never to be: nothing stays open.
    void hurry();
    /// To be called after that.
    void waitUntilNothingIsOpen();

private:
    using Clock = std::chrono::steady_clock;

    struct Question
    {
        pbObj *driver;
        usr___Request *request;
        std::string user;
        Clock::time_point due;
    };

    static pbObj *tryCreate( pbStore *config, trStream *stream, pbString **reason );
    static void close( pbObj *driver );
    static void lookup( pbObj *driver, usr___Request *request, pbString *userName, pbString *realm );
    static void query( pbObj *driver, usr___Request *request, pbString *userId );
    static void answer( usr___Request *request, const std::string &user );

    void ask( pbObj *driver, usr___Request *request, const std::string &user );
    void answerQuestions();
    bool takeDue( Question *question, Clock::time_point *next );

    static const usr___Driver driver_;
    static SlowDriver *current_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::mt19937_64 random_;
    std::list<Question> questions_;
    int64_t answering_ = 0;
    bool hurried_ = false;
    bool stopped_ = false;
    std::thread thread_;
};

} // namespace soak

#endif
