// How a stream is laid out, and what anchors ask of it.
#ifndef TR_TR_STREAM_PRIVATE_H
#define TR_TR_STREAM_PRIVATE_H

#include "pb/pb_object.h"

#include <tr/tr_line.h>
#include <tr/tr_recorder.h>
#include <tr/tr_stream.h>

#include <mutex>

struct trStream
{
    pb::Object object;
    pb::Field<trRecorder> recorder; ///< null: nobody records
    pb::Field<pbString> name;       ///< null when nobody records
    int64_t number;                 ///< 0: silent, and nothing below is set
    std::atomic<int64_t> parentNumber;
    std::atomic<int64_t> origin; ///< 0: none
    std::atomic<pbBool> notable;
    std::mutex mutex; ///< guards payloadType
    pb::Field<pbString> payloadType;
};

/// A new line of a recorded stream, with everything set that tells the stream.
pb::Ref<trLine> tr___StreamLine( trStream *stream, int64_t kind );
/// Hands a line to the stream's recorder. A text may be added before; nobody else may hold the line.
void tr___StreamWrite( trStream *stream, trLine *line );

#endif
