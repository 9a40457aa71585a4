// How a recorder is laid out, and what streams ask of it.
#ifndef TR_TR_RECORDER_PRIVATE_H
#define TR_TR_RECORDER_PRIVATE_H

#include "pb/pb_object.h"

#include <pb/pb_vector.h>
#include <tr/tr_recorder.h>

#include <mutex>

/// Keeps a line; called from any thread, so it takes the recorder's mutex where it needs it.
using tr___RecorderKeepFunc = void ( * )( trRecorder *recorder, trLine *line );

struct trRecorder
{
    pb::Object object;
    tr___RecorderKeepFunc keep;
    std::atomic<pbBool> secrets;
    std::mutex mutex; ///< guards everything below

    pb::Field<pbVector> lines; ///< of a memory recorder

    int descriptor; ///< of a file recorder, else -1
    bool torn;      ///< the file ends with the beginning of a line
    int64_t lostLines;
};

/// A new recorder that keeps nothing yet.
pb::Ref<trRecorder> tr___RecorderCreate( tr___RecorderKeepFunc keep );
/// The recorder of new streams, one more reference of it; null for none.
trRecorder *tr___RecorderCurrent();
/// Hands a line, which nobody else holds, to a recorder.
void tr___RecorderTake( trRecorder *recorder, trLine *line );

#endif
