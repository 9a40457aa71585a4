// pb::Ref: one counted reference that a C++ user holds. Header only; needs nothing but the C interface.
//
//     auto text = pb::own( pbStringCreateFromCstr( "alice", -1 ) );   // adopt what a function returned
//     auto again = text;                                              // one more reference
//     pbStringAppendChar( text.inout(), 'x' );                        // a copy-on-write mutator
//     return text.give();                                             // hand it out
#ifndef PB_PB_REF_HH
#define PB_PB_REF_HH

#include <pb/pb_obj.h>

#include <cstddef>
#include <type_traits>
#include <utility>

namespace pb
{

template<class T>
pbObj *toObj( T *ptr )
{
    return reinterpret_cast<pbObj *>( const_cast<std::remove_const_t<T> *>( ptr ) );
}

/// Owns one reference of an object, or nothing.
template<class T>
class [[nodiscard]] Ref
{
public:
    Ref() = default;
    Ref( std::nullptr_t ) {}
    Ref( const Ref &other ) : ptr_( other.ptr_ )
    {
        if( ptr_ )
            pbObjRetain( toObj( ptr_ ) );
    }
    Ref( Ref &&other ) noexcept : ptr_( std::exchange( other.ptr_, nullptr ) ) {}
    ~Ref() { clear(); }

    Ref &operator=( Ref other ) noexcept
    {
        std::swap( ptr_, other.ptr_ );
        return *this;
    }

    /// Releases the reference, if there is one.
    void clear()
    {
        if( T *old = std::exchange( ptr_, nullptr ) )
            pbObjRelease( toObj( old ) );
    }

    /// The object, borrowed; null when there is none.
    T *get() const { return ptr_; }
    T *operator->() const { return ptr_; }
    explicit operator bool() const { return ptr_ != nullptr; }
    /// Borrows implicitly, so that a Ref passes as an argument. A temporary may be passed, too: it lives for the call.
    operator T *() const { return ptr_; }

    /// Hands the reference over to the caller.
    [[nodiscard]] T *give() { return std::exchange( ptr_, nullptr ); }

    /// The address of the reference, for functions that replace it.
    T **inout() { return &ptr_; }

private:
    template<class U>
    friend Ref<U> own( U *ptr );

    T *ptr_ = nullptr;
};

/// Adopts a reference that a function returned.
template<class T>
Ref<T> own( T *ptr )
{
    Ref<T> ref;
    ref.ptr_ = ptr;
    return ref;
}

/// Takes one more reference of a borrowed pointer, which may be null.
template<class T>
Ref<T> share( T *ptr )
{
    if( ptr )
        pbObjRetain( toObj( ptr ) );
    return own( ptr );
}

} // namespace pb

#endif
