// User references.
#include "pb/pb_type.h"
#include "usr/usr_private.h"

#include <cs/cs_object_record.h>
#include <usr/usr_reference.h>

struct usrReference
{
    pb::Object object;
    pb::Field<pbString> directoryName; ///< empty when a store had no acceptable one
    pb::Field<pbString> userId;
};

PB_TYPE( usrReference, USR_REFERENCE, usr, usr___ReferenceFreeFunc, nullptr );

static void usr___ReferenceFreeFunc( pbObj *obj )
{
    usrReference *reference = usrReferenceFrom( obj );
    PB_ASSERT( reference );
    pb::poison( reference->directoryName, reference->userId );
}

namespace
{

pb::Ref<usrReference> create( pb::Ref<pbString> directoryName, pb::Ref<pbString> userId )
{
    auto reference = pb::create<usrReference>( usrReferenceSort() );
    reference->directoryName = directoryName;
    reference->userId = userId;
    return reference;
}

// The string under a key, empty when there is none.
pb::Ref<pbString> stringIn( pbStore *store, const char *key )
{
    auto value = pb::own( pbStoreValueCstr( store, key, -1 ) );
    return value ? value : pb::own( pbStringCreate() );
}

} // namespace

usrReference *usrReferenceCreate( pbString *directoryName, pbString *userId )
{
    PB_ASSERT( csObjectRecordNameOk( directoryName ) );
    PB_ASSERT( userId );
    return create( pb::share( directoryName ), pb::share( userId ) ).give();
}

pbString *usrReferenceDirectoryName( usrReference *reference )
{
    PB_ASSERT( reference );
    return reference->directoryName.shareOut();
}

pbString *usrReferenceUserId( usrReference *reference )
{
    PB_ASSERT( reference );
    return reference->userId.shareOut();
}

pbStore *usrReferenceStore( usrReference *reference )
{
    PB_ASSERT( reference );
    auto store = pb::own( pbStoreCreate() );
    pbStoreSetValueCstr( store.inout(), "directoryName", -1, reference->directoryName );
    pbStoreSetValueCstr( store.inout(), "userId", -1, reference->userId );
    return store.give();
}

usrReference *usrReferenceRestore( pbStore *store )
{
    PB_ASSERT( store );
    pb::Ref<pbString> directoryName = stringIn( store, "directoryName" );
    if( !csObjectRecordNameOk( directoryName ) )
        directoryName = pb::own( pbStringCreate() );
    return create( directoryName, stringIn( store, "userId" ) ).give();
}
