#pragma once

struct sqlite3;

namespace db {

// How the catalogue compares text: without regard to case for every letter of Unicode (accented
// Latin, full-width Latin, Greek, Cyrillic, ...), the way the original engine compared text, not
// only A to Z as SQLite's own NOCASE does. Every text column of schema.sql names this collation,
// so "=", "Distinct", "Order By", Min/Max and the indexes all use it.
//
// The name is our own and not "NOCASE" on purpose: an index is only correct when it is read with
// the ordering it was built with. A file whose indexes were built with this ordering must never be
// read or written with SQLite's ASCII-only NOCASE (the sqlite3 shell, an older build): under our
// own name such a program stops with "no such collation sequence" instead of quietly answering
// lookups wrongly or writing index entries in the wrong place.
inline constexpr const char* kTextCollation = "UNICODE_NOCASE";

// The schema version that uses kTextCollation; files of version 1 (ASCII NOCASE) are moved to it
// when a connection opens them.
inline constexpr int kSchemaVersion = 2;

// Compares two UTF-8 texts by their simple Unicode case folding (Qt's QChar::toCaseFolded), code
// point by code point; ASCII is compared without decoding. Returns <0, 0 or >0.
int CompareFolded(const char* a, int aBytes, const char* b, int bBytes);

// Like with "%" and "_" on folded text; escape is the optional Escape character (0 = none).
bool LikeFolded(const char* pattern, int patternBytes, const char* text, int textBytes, char32_t escape = 0);

// Registers the collation and a Like that folds all of Unicode on a connection. Every connection
// that reads or writes a catalogue needs it, including tools and tests that use SQLite directly.
bool RegisterTextCollation(sqlite3* handle);

// Moves a catalogue of schema version 1 (text columns COLLATE NOCASE) to the current schema: each
// table is rebuilt with the current definition, its rows and its key counter are carried over, and
// the indexes are built anew with the new ordering, all in one transaction. Files of the current
// version are left alone. Returns false (the file unchanged) when the move cannot be made, e.g.
// on a read-only file.
bool UpgradeSchema(sqlite3* handle);

}  // namespace db
