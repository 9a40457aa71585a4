// The SQLite file of the registrar's bindings: one row for each, found by a number that its binding has in memory, too.
// So a refresh writes one row, and nothing is looked up by text.
#ifndef SIPAUTHD_BINDINGS_FILE_H
#define SIPAUTHD_BINDINGS_FILE_H

#include "sipauthd/bindings.h"

struct sqlite3;
struct sqlite3_stmt;

namespace sipauthd
{

/// A binding with the number of its row.
struct StoredBinding
{
    int64_t id = 0;
    Binding binding;
};

/// What becomes of a row.
struct RowChange
{
    enum class Kind
    {
        Put,   ///< it is made, or written anew
        Touch, ///< only its expiry and its CSeq change
        Remove
    };
    Kind kind = Kind::Remove;
    int64_t id = 0;
    int64_t expires = 0;
    uint32_t cseq = 0;
    std::unique_ptr<const Binding> binding{}; ///< for Put
};

class BindingsFile
{
public:
    /// Opens or makes the file; null with *WHY.
    static std::unique_ptr<BindingsFile> open( const std::string &path, bool fsync, std::string *why );
    ~BindingsFile();
    BindingsFile( const BindingsFile & ) = delete;
    BindingsFile &operator=( const BindingsFile & ) = delete;

    /// Removes what had expired at NOW and hands out all the others; false with *WHY.
    bool load( int64_t now, const std::function<void( std::string addressOfRecord, StoredBinding stored )> &take,
               std::string *why );

    /// A transaction: begin, change..., commit. After false, rollback must be called, and failure tells why.
    bool begin();
    bool change( const std::string &addressOfRecord, const RowChange &change );
    bool commit();
    void rollback();
    std::string failure() const;

private:
    BindingsFile() = default;
    bool connect( const std::string &path );
    bool setUp( bool fsync, std::string *why );
    bool prepare();
    bool execute( const char *text );
    bool run( sqlite3_stmt *statement );
    bool put( const std::string &addressOfRecord, int64_t id, const Binding &binding );
    int64_t version();

    sqlite3 *database_ = nullptr;
    sqlite3_stmt *put_ = nullptr;
    sqlite3_stmt *touch_ = nullptr;
    sqlite3_stmt *remove_ = nullptr;
    sqlite3_stmt *begin_ = nullptr;
    sqlite3_stmt *commit_ = nullptr;
    bool moved_ = false;
};

} // namespace sipauthd

#endif
