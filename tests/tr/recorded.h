// What the tests of this module share: a recorder that is set as long as a test runs, and its lines as text.
#ifndef TR_RECORDED_H
#define TR_RECORDED_H

#include "support/text.h"

#include <tr/tr_recorder.h>
#include <tr/tr_stream.h>

#include <gtest/gtest.h>

namespace recorded
{

/// A test whose streams are recorded in memory.
class Recorded : public testing::Test
{
protected:
    Recorded() { trSetRecorder( recorder ); }
    ~Recorded() override { trSetRecorder( nullptr ); }

    /// The line at an index; negative ones count from the end.
    pb::Ref<trLine> lineAt( int64_t index )
    {
        return pb::own( trRecorderLineAt( recorder, index < 0 ? trRecorderLinesLength( recorder ) + index : index ) );
    }

    pb::Ref<trRecorder> recorder = pb::own( trRecorderCreateMemory() );
};

inline std::string textOf( trLine *line )
{
    return support::textOf( trLineText( line ) );
}

inline std::string payloadOf( trLine *line )
{
    return support::bytes( pb::own( trLinePayload( line ) ) );
}

inline std::string kindOf( trLine *line )
{
    return trLineKindName( trLineKind( line ) );
}

inline pb::Ref<trStream> stream( const char *name = "STREAM" )
{
    return pb::own( trStreamCreateCstr( name, -1 ) );
}

} // namespace recorded

#endif
