// SIP messages: bytes to a message of which any header can be asked.
#include "sample.h"

#include <benchmark/benchmark.h>

namespace
{

void parseRegister( benchmark::State &state )
{
    auto bytes = pb::buffer( bench::registerText( false ) );
    for( auto _ : state )
        benchmark::DoNotOptimize( pb::own( sipsnMessageTryDecode( bytes, nullptr, nullptr ) ).get() );
    state.counters["bytes"] = static_cast<double>( pbBufferLength( bytes ) );
}

BENCHMARK( parseRegister )->Name( "parse/register" );

} // namespace
