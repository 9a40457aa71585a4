// The order of calls of a co-transaction, mirrored: what was written and read so far, and what may come next. It asks
// at least what the library asserts, so that what it lets through cannot end the process; beyond that it wants CSeq to
// agree with the request line, and no response before the request was read.
#ifndef HOST_HOST_CALL_ORDER_H
#define HOST_HOST_CALL_ORDER_H

#include "pb/pb_object.h"

#include <host/host_server_guard.h>

namespace host
{

/// The order of one co-transaction; zeroed memory is its beginning. The checks return a HOST_REFUSAL and change
/// nothing, the notes record a message that was written.
struct CallOrder
{
    bool hadRequest;
    bool hadRequestInvite;
    bool read; ///< the library has given the request back
    bool hadResponse;
    bool hadResponseFinal;
    bool hadCancel; ///< written, or parked
    bool hadAck;
    bool ended; ///< the library has answered by itself, or failed
    pb::Field<sipsnMessage> parked;

    int64_t checkRequest( sipsnMessage *message ) const;
    int64_t checkResponse( sipsnMessage *message ) const;
    int64_t checkCancel( sipsnMessage *message ) const;
    int64_t checkAck( sipsnMessage *message ) const;

    void noteRequest( sipsnMessage *message );
    void noteResponse( sipsnMessage *message );
    void noteAck() { hadAck = true; }
    /// The CANCEL when it is to be written at once, else null: then it is parked.
    sipsnMessage *noteCancel( sipsnMessage *message );
    /// The parked CANCEL when its time has come, else null. One whose time will not come any more is dropped, and
    /// counts as refused before a response.
    pb::Ref<sipsnMessage> takeParked();
    /// The library has answered by itself: that answer is final.
    void noteAnswered();
};

} // namespace host

#endif
