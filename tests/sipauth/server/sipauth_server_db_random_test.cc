// The database of challenges against a naive model, under random operations.
#include "sipauth/server/server_support.h"
#include "sipauth/server/sipauth_server_db_private.h"
#include "sipauth/server/sipauth_server_db_record_private.h"
#include "sipauth/session/session_support.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

namespace
{

using pb::own;

/// What the database is meant to do, said as plainly as possible.
class Model
{
public:
    struct Record
    {
        int64_t stored;
        sipauthServerChallenge *challenge;
    };

    void store( int64_t now, sipauthServerChallenge *challenge, const std::vector<std::string> &nonces )
    {
        records_[++last_] = { now, challenge };
        for( const std::string &nonce : nonces )
            owners_[nonce] = last_;
    }

    sipauthServerChallenge *find( const std::string &nonce )
    {
        auto owner = owners_.find( nonce );
        if( owner == owners_.end() )
            return nullptr;
        int id = owner->second;
        sipauthServerChallenge *challenge = records_.at( id ).challenge;
        drop( id );
        return challenge;
    }

    int64_t expire( int64_t now, int64_t olderThan )
    {
        int64_t oldest = -1;
        auto all = records_;
        for( const auto &[id, record] : all )
        {
            if( now - record.stored > olderThan )
                drop( id );
            else if( oldest == -1 || record.stored < oldest )
                oldest = record.stored;
        }
        return oldest;
    }

    /// In the order in which they were stored.
    std::vector<Record> records() const
    {
        std::vector<Record> list;
        for( const auto &[id, record] : records_ )
            list.push_back( record );
        return list;
    }

    const std::map<std::string, int> &owners() const { return owners_; }
    const Record &record( int id ) const { return records_.at( id ); }

private:
    void drop( int id )
    {
        records_.erase( id );
        std::erase_if( owners_, [id]( const auto &owner ) { return owner.second == id; } );
    }

    int last_ = 0;
    std::map<int, Record> records_;
    std::map<std::string, int> owners_;
};

sipauthServerChallenge *challengeOf( pbObj *record )
{
    return own( sipauth___ServerDbRecordChallenge( sipauth___ServerDbRecordFrom( record ) ) ).get();
}

// Each record once in the map, under its time; its nonces, and nothing else, in the dictionary.
void expectSame( sipauth___ServerDb *db, const Model &model )
{
    auto records = model.records();
    ASSERT_EQ( pbPriorityMapLength( db->recordsByAge ), static_cast<int64_t>( records.size() ) );
    std::set<pbObj *> seen;
    for( size_t index = 0; index < records.size(); index++ )
    {
        int64_t place = static_cast<int64_t>( index );
        auto record = own( pbPriorityMapValueAt( db->recordsByAge, place ) );
        ASSERT_EQ( pbPriorityMapPriorityAt( db->recordsByAge, place ), records[index].stored );
        ASSERT_EQ( challengeOf( record ), records[index].challenge );
        ASSERT_TRUE( seen.insert( record.get() ).second );
    }
    ASSERT_EQ( pbDictLength( db->recordsByNonce ), static_cast<int64_t>( model.owners().size() ) );
    for( const auto &[nonce, id] : model.owners() )
    {
        auto record = own( pbDictValue( db->recordsByNonce, support::string( nonce ) ) );
        ASSERT_TRUE( record ) << nonce;
        ASSERT_EQ( challengeOf( record ), model.record( id ).challenge ) << nonce;
        ASSERT_TRUE( seen.count( record.get() ) ) << nonce;
    }
}

class ServerDbRandom : public session::Simulated
{
protected:
    int64_t random( int64_t bound ) { return pb___SimulationRandom( simulation, bound ); }

    // Few, so that they meet again.
    std::string randomNonce() { return "n" + std::to_string( random( 24 ) ); }

    void store()
    {
        auto challenge = own( sipauthServerChallengeCreate( 0 ) );
        std::vector<std::string> nonces;
        for( int64_t count = random( 5 ); count > 0; count-- )
        {
            nonces.push_back( randomNonce() );
            sipauthServerChallengeAppendDigestState( challenge.inout(), server::digestState( nonces.back().c_str() ) );
        }
        // Kept, so that no two challenges ever have the same address.
        kept.push_back( challenge );
        sipauth___ServerDbSetChallenge( db, challenge, nullptr );
        model.store( now(), challenge, nonces );
    }

    void find()
    {
        std::string nonce = randomNonce();
        auto found = own( sipauth___ServerDbChallenge( db, server::authorization( nonce.c_str() ), nullptr ) );
        ASSERT_EQ( found.get(), model.find( nonce ) );
        finds += found.get() != nullptr;
    }

    void expire()
    {
        int64_t olderThan = random( 40 );
        ASSERT_EQ( sipauth___ServerDbExpireChallenges( db, olderThan ), model.expire( now(), olderThan ) );
    }

    void step()
    {
        switch( random( 8 ) )
        {
        case 0:
        case 1:
        case 2:
            return store();
        case 3:
        case 4:
            return find();
        case 5:
            return expire();
        default:
            return pb___SimulationAdvance( simulation, random( 5 ) );
        }
    }

    pb::Ref<sipauth___ServerDb> db = own( sipauth___ServerDbCreate( nullptr ) );
    Model model;
    std::vector<pb::Ref<sipauthServerChallenge>> kept;
    int finds = 0;
};

TEST_F( ServerDbRandom, DoesWhatThePlainModelDoes )
{
    size_t most = 0;
    for( int steps = 0; steps < 20000; steps++ )
    {
        step();
        expectSame( db, model );
        if( HasFatalFailure() )
            FAIL() << "after step " << steps;
        most = std::max( most, model.records().size() );
    }
    // The run has been worth something only when there was something to find and to drop.
    EXPECT_GT( finds, 1000 );
    EXPECT_GT( most, 8u );
    EXPECT_EQ( sipauth___ServerDbExpireChallenges( db, 0 ), model.expire( now(), 0 ) );
}

TEST_F( ServerDbRandom, FreesAHundredThousandChallengesAtOnce )
{
    for( int index = 0; index < 100000; index++ )
    {
        auto challenge = own( sipauthServerChallengeCreate( 0 ) );
        if( index % 100 == 0 )
        {
            std::string nonce = std::to_string( index );
            sipauthServerChallengeAppendDigestState( challenge.inout(), server::digestState( nonce.c_str() ) );
        }
        sipauth___ServerDbSetChallenge( db, challenge, nullptr );
    }
    EXPECT_EQ( pbPriorityMapLength( db->recordsByAge ), 100000 );
    db.clear();
    EXPECT_EQ( pbSortLiveObjects( sipauth___ServerDbRecordSort() ), 0 );
}

} // namespace
