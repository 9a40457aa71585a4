// TOML (v1.0) as the format of configurations, and of stores in general: tables are stores, and strings, integers and
// booleans are values. A library of its own; it needs nothing to be started.
//
//     [modules]
//     sipauth = "3.1"
//
//     [object.main]
//     sort = "SIPAUTH_STACK"
//     [object.main.config]
//     serverRealm = "example.com"
#ifndef CS_TOML_CS_TOML_H
#define CS_TOML_CS_TOML_H

#include <cs/cs_format.h>
#include <pb/pb_buffer.h>
#include <pb/pb_store.h>

PB_BEGIN_DECLS

/// A new format of configuration files. It keeps the remarks and the order of a file that it writes anew, as long as
/// only values and recorded versions have changed; otherwise it writes the file from nothing.
PB_EXPORT csFormat *csTomlFormatCreate( void );

/// A new store with the tables and values that a file with this update holds.
PB_EXPORT pbStore *csTomlUpdateStore( csUpdate *update );

/// Told for each key of a text, nested ones after their table ("table.key"), in the order of the text, on which line it
/// stands.
typedef void ( *csTomlKeyFunc )( void *context, const char *key, int64_t line );
/// Told what is wrong, and where: line and column count from 1.
typedef void ( *csTomlFindingFunc )( void *context, int64_t line, int64_t column, const char *what );

/// A new store with what UTF-8 text holds. FINDING is told of values of types that a store does not have; they are left
/// out. Null for text that is no TOML: FINDING has been told why. KEY may be null.
PB_EXPORT pbStore *csTomlTryDecodeStore( pbBuffer *text, csTomlKeyFunc key, csTomlFindingFunc finding, void *context );

/// A remark to write behind a value or the head of a table: a new string, or null for none.
typedef pbString *( *csTomlRemarkFunc )( void *context, const char *key );

/// A new buffer with a store as text: values first, then one table for each nested store. REMARK may be null.
PB_EXPORT pbBuffer *csTomlEncodeStore( pbStore *store, csTomlRemarkFunc remark, void *context );

PB_END_DECLS

#endif
