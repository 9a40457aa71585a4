// Sort backends.
#include "cs_support.h"
#include "support/abort.h"

namespace
{

using namespace cs_support;

pbObj *tryCreate( pbStore *, trAnchor * )
{
    return nullptr;
}
pbStore *config( pbObj *, int64_t )
{
    return pbStoreCreate();
}
void setConfig( pbObj *, pbStore * ) {}
pbStore *normalize( pbStore *store, int64_t )
{
    return pbStoreRetain( store );
}
void complete( pbObj *, trAnchor * ) {}

pb::Ref<csSortBackend> backendOf( pbSort *sort )
{
    return own( csSortBackendCreate( sort, tryCreate, config, setConfig, normalize, nullptr, complete, nullptr ) );
}

TEST( SortBackend, StandsForOneSortEach )
{
    auto first = backendOf( pbBufferSort() );
    auto second = backendOf( pbStringSort() );
    EXPECT_FALSE( csSortBackendEquals( first, second ) );
    EXPECT_EQ( support::textOf( csSortBackendToString( first ) ), "CS_SORT_BACKEND" );
}

TEST( SortBackend, MakesRoomForAnotherAtItsEnd )
{
    auto other = backendOf( pbStringSort() );
    for( int round = 0; round < 2; round++ )
    {
        auto first = backendOf( pbBufferSort() );
        auto last = backendOf( pbStoreSort() );
        first.clear();
        first = backendOf( pbBufferSort() );
    }
}

TEST( SortBackendDeathTest, RefusesASecondOneForTheSameSort )
{
    auto first = backendOf( pbBufferSort() );
    EXPECT_ABORT( backendOf( pbBufferSort() ).clear(), "source/cs/cs_sort_backend", "!hasBackend( sort )" );
}

TEST( SortBackendDeathTest, NeedsItsFunctions )
{
    const char *path = "source/cs/cs_sort_backend";
    pbSort *sort = pbBufferSort();
    auto create = [&]( csSortTryCreateFunc a, csSortConfigFunc b, csSortSetConfigFunc c, csSortNormalizeConfigFunc d,
                       csSortTraceCompleteAnchorFunc e )
    { own( csSortBackendCreate( sort, a, b, c, d, nullptr, e, nullptr ) ).clear(); };
    EXPECT_ABORT( create( nullptr, config, setConfig, normalize, complete ), path, "tryCreate" );
    EXPECT_ABORT( create( tryCreate, nullptr, setConfig, normalize, complete ), path, "config" );
    EXPECT_ABORT( create( tryCreate, config, nullptr, normalize, complete ), path, "setConfig" );
    EXPECT_ABORT( create( tryCreate, config, setConfig, nullptr, complete ), path, "normalizeConfig" );
    EXPECT_ABORT( create( tryCreate, config, setConfig, normalize, nullptr ), path, "traceCompleteAnchor" );
    sort = nullptr;
    EXPECT_ABORT( create( tryCreate, config, setConfig, normalize, complete ), path, "sort" );
}

} // namespace
