// Changing a text as little as possible: values are replaced where they stand, new ones follow the head of their table,
// new tables the end of the text. Remarks, order and layout are the operator's and stay.
#include "cs_toml/cs_toml_edit_private.h"

#include "cs_toml/cs_toml_text_private.h"
#include "cs_toml/cs_toml_write_private.h"

#include <cs_toml/cs_toml.h>
#include <pb/pb_std.hh>

#include <algorithm>

namespace cs_toml
{

namespace
{

// TEXT is to stand in place of the bytes from BEGIN to END.
struct Change
{
    size_t begin;
    size_t end;
    std::string text;
};

class Editor
{
public:
    explicit Editor( const std::string &text ) : text_( text ), parsed_( parse( text ) )
    {
        lines_.push_back( 0 );
        for( size_t at = 0; at < text.size(); at++ )
            if( text[at] == '\n' )
                lines_.push_back( at + 1 );
    }

    void compare( pbStore *wanted, pbStore *present, const Path &path )
    {
        for( int64_t index = 0; index < pbStoreLength( wanted ); index++ )
        {
            auto key = pb::own( pbStoreKeyAt( wanted, index ) );
            Path below = path;
            below.push_back( pb::text( key ) );
            auto wantedTable = pb::own( pbStoreStore( wanted, key ) );
            auto presentTable = pb::own( pbStoreStore( present, key ) );
            if( wantedTable && presentTable )
                compare( wantedTable, presentTable, below );
            else if( wantedTable )
                appendTable( wantedTable, below );
            else if( pbStoreValueType( present, key ) == PB_STORE_TYPE_INVALID )
                insertValue( path, cs_toml::key( below.back() ) + " = " + valueText( wanted, key ) + "\n" );
            else if( valueText( wanted, key ) != valueText( present, key ) )
                replaceValue( below, valueText( wanted, key ) );
        }
    }

    std::string apply()
    {
        // From the end on, so that what stands before keeps its place.
        std::stable_sort( changes_.begin(), changes_.end(),
                          []( const Change &a, const Change &b ) { return a.begin > b.begin; } );
        std::string result = text_;
        for( const Change &change : changes_ )
            result.replace( change.begin, change.end - change.begin, change.text );
        if( !appended_.empty() && !result.empty() )
            result += result.ends_with( '\n' ) ? "\n" : "\n\n";
        return result + appended_;
    }

    pbStore *store() { return parsed_.store; }

private:
    void replaceValue( const Path &path, const std::string &value )
    {
        if( const Item *item = find( parsed_, path ) )
            changes_.push_back( { offset( item->begin ), offset( item->end ), value } );
    }

    // A new value stands first in its table: what follows the head's line may belong to a table within.
    void insertValue( const Path &table, const std::string &line )
    {
        const Item *item = find( parsed_, table );
        size_t at = 0;
        if( item )
            at = static_cast<size_t>( item->begin.line ) < lines_.size()
                     ? lines_[static_cast<size_t>( item->begin.line )]
                     : text_.size();
        bool open = at == text_.size() && at > 0 && text_[at - 1] != '\n';
        changes_.push_back( { at, at, open ? "\n" + line : line } );
    }

    void appendTable( pbStore *table, const Path &path )
    {
        auto whole = pb::share( table );
        for( auto name = path.rbegin(); name != path.rend(); ++name )
        {
            auto outer = pb::own( pbStoreCreate() );
            pbStoreSetStore( outer.inout(), pb::string( *name ), whole );
            whole = outer;
        }
        appended_ +=
            ( appended_.empty() ? "" : "\n" ) + pb::bytes( pb::own( csTomlEncodeStore( whole, nullptr, nullptr ) ) );
    }

    // Columns count code points; their first bytes are those that do not continue another.
    size_t offset( const Place &place )
    {
        size_t at = lines_[std::min( static_cast<size_t>( place.line ), lines_.size() ) - 1];
        for( int64_t column = 1; column < place.column && at < text_.size(); column++ )
        {
            at++;
            while( at < text_.size() && ( static_cast<uint8_t>( text_[at] ) & 0xC0 ) == 0x80 )
                at++;
        }
        return at;
    }

    const std::string &text_;
    Text parsed_;
    std::vector<size_t> lines_; ///< where each line begins
    std::vector<Change> changes_;
    std::string appended_;
};

} // namespace

std::string edit( const std::string &text, pbStore *store )
{
    Editor editor( text );
    if( !editor.store() )
        return text;
    editor.compare( store, editor.store(), {} );
    return editor.apply();
}

} // namespace cs_toml
