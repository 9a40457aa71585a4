// How a line is laid out: filled by the stream that writes it, masked by the recorder, unchanged from then on.
#ifndef TR_TR_LINE_PRIVATE_H
#define TR_TR_LINE_PRIVATE_H

#include "pb/pb_object.h"

#include <tr/tr_line.h>

struct trLine
{
    pb::Object object;
    int64_t kind;
    int64_t timestamp;
    int64_t time;
    int64_t streamNumber;
    int64_t parentNumber;
    pb::Field<pbString> streamName;
    pb::Field<pbString> text;
    pb::Field<pbBuffer> payload;
    pb::Field<pbString> payloadType;
    pb::Field<pbString> property;
    int64_t childNumber;
    int64_t anchorKind;
    pbBool notable;
};

/// A new line of a kind, written now, with nothing else set.
pb::Ref<trLine> tr___LineCreate( int64_t kind );

#endif
