#pragma once

#include <QString>

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

// The schema version: 2 brought kTextCollation (files of version 1, ASCII NOCASE, are moved to it),
// 3 the deals tables and their triggers (deals.sql, deals_sqlite.sql). A file of version 1 or 2 is
// brought to 3 when a connection opens it.
inline constexpr int kSchemaVersion = 3;

// Compares two UTF-8 texts by their simple Unicode case folding (Qt's QChar::toCaseFolded), code
// point by code point; ASCII is compared without decoding. Returns <0, 0 or >0.
int CompareFolded(const char* a, int aBytes, const char* b, int bBytes);

// Like with "%" and "_" on folded text; escape is the optional Escape character (0 = none).
bool LikeFolded(const char* pattern, int patternBytes, const char* text, int textBytes, char32_t escape = 0);

// Registers the collation and a Like that folds all of Unicode on a connection. Every connection
// that reads or writes a catalogue needs it, including tools and tests that use SQLite directly.
bool RegisterTextCollation(sqlite3* handle);

// Moves a catalogue of schema version 1 or 2 to the current schema, in one transaction. Version 1
// (text columns COLLATE NOCASE) first has each table rebuilt with the current definition, its rows
// and its key counter carried over, and the indexes built anew with the new ordering; then both get
// the deals tables and their triggers, the five tables' rows untouched. Files of the current
// version are left alone. Returns false (the file unchanged) when the move cannot be made, e.g.
// on a read-only file.
bool UpgradeSchema(sqlite3* handle);

// Writes the whole current schema (the five tables, the deals tables, their triggers) into an
// empty database; *error says what failed.
bool CreateSchema(sqlite3* handle, QString* error = nullptr);

}  // namespace db
