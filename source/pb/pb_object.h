// How a type of the runtime, or of a library on it, is laid out: the object header, the sort record, and the counted
// fields inside an object. Every .cc file that defines a type includes this.
#ifndef PB_PB_OBJECT_H
#define PB_PB_OBJECT_H

#include "pb/pb_assert.h"

#include <pb/pb_obj.h>
#include <pb/pb_ref.hh>

#include <atomic>
#include <cstring>

namespace pb
{

/// References that a static object starts with: so many that counting never frees it and it always counts as shared.
inline constexpr int64_t staticReferences = int64_t{ 1 } << 62;

/// The header that every object begins with. Assignment leaves it alone, so that `*copy = *source` copies just the
/// fields of a type.
struct Object
{
    pbSort *sort;
    std::atomic<int64_t> references;

    Object &operator=( const Object & ) { return *this; }
};

} // namespace pb

struct pbObj
{
    pb::Object object;
};

/// Frees the fields of an object whose last reference is gone.
using pb___FreeFunc = void ( * )( pbObj *obj );
/// Orders two objects of one sort.
using pb___CompFunc = int64_t ( * )( pbObj *thisObj, pbObj *thatObj );
/// A new string that describes an object.
using pb___ToStringFunc = pbString *(*) ( pbObj *obj );

/// The sort record. Statically initialised; an object itself, never freed.
struct pbSort
{
    pb::Object object;
    const pbModule *module;
    const char *name;
    pb___FreeFunc freeFunc;         ///< null: nothing to free
    pb___CompFunc compFunc;         ///< null: ordered by identity
    pb___ToStringFunc toStringFunc; ///< null: prints as its name

    // What the runtime notes about the sort when its first object is made.
    std::atomic<int64_t> index;
    std::atomic<pbSort *> next;
};

PB_BEGIN_DECLS

/// The sort of sorts.
extern PB_EXPORT pbSort pb___sort_PB_SORT;

/// A new zeroed object of SIZE bytes, header included, of SORT, with one reference.
PB_EXPORT pbObj *pb___ObjCreate( int64_t size, pbSort *sort );

/// Runs the free function of OBJ's sort and frees the memory. Called when the count has reached 0.
PB_EXPORT void pb___ObjFree( pbObj *obj );

/// The object that OBJ became after its memory grew or shrank to SIZE bytes. The caller holds the only reference.
PB_EXPORT pbObj *pb___ObjResize( pbObj *obj, int64_t size );

PB_END_DECLS

namespace pb
{

/// Whether the caller is not the only holder of an object, so that a change needs a copy first.
template<class T>
bool shared( const T *ptr )
{
    return ptr->object.references.load( std::memory_order_acquire ) > 1;
}

/// Counts one reference more. An object without owner on other threads costs one atomic addition, a static one none.
inline void retain( Object &object )
{
    if( object.references.load( std::memory_order_relaxed ) < staticReferences / 2 )
        object.references.fetch_add( 1, std::memory_order_relaxed );
}

/// Counts one reference less and frees the object after the last. The sole holder needs no atomic subtraction: nobody
/// else can take a reference any more.
inline void release( Object &object )
{
    int64_t references = object.references.load( std::memory_order_acquire );
    if( references >= staticReferences / 2 )
        return;
    if( references == 1 || object.references.fetch_sub( 1, std::memory_order_acq_rel ) == 1 )
        pb___ObjFree( reinterpret_cast<pbObj *>( &object ) );
}

/// One counted reference inside an object, or nothing. Trivially constructible: zeroed memory is an empty field.
/// A store says `own` or `share`, always; there is no assignment from a bare pointer.
template<class T>
class Field
{
public:
    Field() = default;
    Field( const Field & ) = delete;

    Field &operator=( const Field &other )
    {
        if( other.ptr_ )
            retain( toObj( other.ptr_ )->object );
        store( other.ptr_ );
        return *this;
    }

    Field &operator=( Ref<T> ref )
    {
        store( ref.give() );
        return *this;
    }

    T *get() const { return ptr_; }
    T *operator->() const { return ptr_; }
    explicit operator bool() const { return ptr_ != nullptr; }
    operator T *() const { return ptr_; }

    /// Releases the reference, if there is one.
    void clear() { store( nullptr ); }

    /// Moves the reference out.
    Ref<T> take() { return own( std::exchange( ptr_, nullptr ) ); }

    /// One more reference for the caller of a getter, or null.
    [[nodiscard]] T *shareOut() const
    {
        if( ptr_ )
            retain( toObj( ptr_ )->object );
        return ptr_;
    }

    T **inout() { return &ptr_; }

    /// End of life: releases the reference and leaves a value that no use survives.
    void poison()
    {
        clear();
        std::memset( static_cast<void *>( &ptr_ ), 0xFF, sizeof ptr_ );
    }

private:
    void store( T *ptr )
    {
        if( T *old = std::exchange( ptr_, ptr ) )
            release( toObj( old )->object );
    }

    T *ptr_;
};

/// End of life of an object's fields, in declaration order.
template<class... Fields>
void poison( Fields &...fields )
{
    ( fields.poison(), ... );
}

/// A new object of the sort of T with nothing but its header set.
template<class T>
Ref<T> create( pbSort *sort )
{
    return own( reinterpret_cast<T *>( pb___ObjCreate( sizeof( T ), sort ) ) );
}

/// A new object with every field equal to that of SOURCE and references shared.
template<class T>
Ref<T> copyOf( const T *source )
{
    Ref<T> copy = create<T>( source->object.sort );
    *copy.get() = *source;
    return copy;
}

/// Makes the object in HOLDER private to the caller (copy on write) and returns it for the change.
template<class T>
T *mutate( T **holder )
{
    if( shared( *holder ) )
    {
        T *old = std::exchange( *holder, copyOf( *holder ).give() );
        release( old->object );
    }
    return *holder;
}

/// A value whose bits are all ones, which a module variable holds after shut-down.
template<class T>
void poisonGlobal( T *&global )
{
    std::memset( static_cast<void *>( &global ), 0xFF, sizeof global );
}

} // namespace pb

#endif
