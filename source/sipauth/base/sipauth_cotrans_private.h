// What co-transactions of both sides have in common: how messages are taken in, with the order of calls that a host
// keeps. An assertion that fails names the side's own file, since that is what was compiled.
#ifndef SIPAUTH_BASE_SIPAUTH_COTRANS_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_COTRANS_PRIVATE_H

#include "pb/pb_hold.h"
#include "pb/pb_object.h"

#include <pb/pb_process.h>
#include <pb/pb_vector.h>
#include <sipbn/sipbn_method.h>
#include <sipsn/sipsn_message.h>
#include <sipsn/sipsn_status_code.h>

namespace sipauth
{

template<class Imp>
void writeRequest( Imp *imp, sipsnMessage *message )
{
    PB_ASSERT( imp );
    PB_ASSERT( message );
    PB_ASSERT( sipsnMessageIsRequest( message ) );
    int64_t method = sipbnMethodTryDecodeFromRequest( message );
    PB_ASSERT( method != SIPBN_METHOD_CANCEL );
    PB_ASSERT( method != SIPBN_METHOD_ACK );
    {
        pb::Hold hold( imp->monitor );
        PB_ASSERT( !imp->hadRequest );
        imp->inRequest = pb::share( message );
        imp->hadRequest = 1;
        imp->hadRequestInvite = method == SIPBN_METHOD_INVITE;
    }
    pbProcessSchedule( imp->isProcess );
}

template<class Imp>
void writeResponse( Imp *imp, sipsnMessage *message )
{
    PB_ASSERT( imp );
    PB_ASSERT( message );
    PB_ASSERT( sipsnMessageIsResponse( message ) );
    {
        pb::Hold hold( imp->monitor );
        PB_ASSERT( !imp->hadResponseFinal );
        pbVectorAppendObj( imp->inResponses.inout(), sipsnMessageObj( message ) );
        imp->hadResponse = 1;
        imp->hadResponseFinal = !sipsnStatusCodeInformational( sipsnMessageResponseStatusCode( message ) );
    }
    pbProcessSchedule( imp->isProcess );
}

template<class Imp>
void writeCancel( Imp *imp, sipsnMessage *message )
{
    PB_ASSERT( sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_CANCEL );
    {
        pb::Hold hold( imp->monitor );
        PB_ASSERT( imp->hadRequest );
        PB_ASSERT( imp->hadResponse );
        PB_ASSERT( !imp->hadResponseFinal );
        PB_ASSERT( !imp->hadCancel );
        imp->inCancel = pb::share( message );
        imp->hadCancel = 1;
    }
    pbProcessSchedule( imp->isProcess );
}

template<class Imp>
void writeAck( Imp *imp, sipsnMessage *message )
{
    PB_ASSERT( sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_ACK );
    {
        pb::Hold hold( imp->monitor );
        PB_ASSERT( imp->hadRequest );
        PB_ASSERT( imp->hadRequestInvite );
        PB_ASSERT( imp->hadResponse );
        PB_ASSERT( imp->hadResponseFinal );
        PB_ASSERT( !imp->hadAck );
        imp->inAck = pb::share( message );
        imp->hadAck = 1;
    }
    pbProcessSchedule( imp->isProcess );
}

} // namespace sipauth

#endif
