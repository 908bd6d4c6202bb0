#include "core/db/TextCollation.h"

#include <sqlite3.h>

#include <QByteArray>
#include <QChar>
#include <QString>
#include <QStringList>

#include "core/db/ChangeContext.h"
#include "core/db/Connection.h"
#include "core/db/schema_sql.h"

namespace db {

namespace {

// One code point of UTF-8 at s[i], moving i past it. A byte that does not start a valid sequence
// stands for itself above the Unicode range, so that two different invalid texts never compare
// equal to each other or to real letters.
inline char32_t nextCodePoint(const unsigned char* s, int n, int& i)
{
    const unsigned char c = s[i++];
    if (c < 0x80) return c;
    int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    if (more == 0 || c > 0xF4 || i + more > n) return 0x110000u + c;
    char32_t cp = c & (0x3F >> more);
    for (int k = 0; k < more; ++k) {
        const unsigned char d = s[i + k];
        if ((d & 0xC0) != 0x80) return 0x110000u + c;
        cp = (cp << 6) | (d & 0x3F);
    }
    i += more;
    return cp;
}

inline char32_t fold(char32_t cp)
{
    if (cp < 0x80) return (cp >= 'A' && cp <= 'Z') ? cp + 32 : cp;
    return cp <= 0x10FFFF ? QChar::toCaseFolded(cp) : cp;
}

int collate(void*, int aBytes, const void* a, int bBytes, const void* b)
{
    return CompareFolded(static_cast<const char*>(a), aBytes, static_cast<const char*>(b), bBytes);
}

void likeFunction(sqlite3_context* context, int argc, sqlite3_value** argv)
{
    for (int k = 0; k < argc; ++k) {
        if (sqlite3_value_type(argv[k]) == SQLITE_NULL) {
            sqlite3_result_null(context);
            return;
        }
    }
    char32_t escape = 0;
    if (argc == 3) {
        const auto* e = sqlite3_value_text(argv[2]);
        const int eBytes = sqlite3_value_bytes(argv[2]);
        int i = 0;
        if (eBytes > 0) escape = nextCodePoint(e, eBytes, i);
        if (eBytes == 0 || i != eBytes) {
            sqlite3_result_error(context, "ESCAPE expression must be a single character", -1);
            return;
        }
    }
    // like(pattern, text): "text Like pattern" calls it with the pattern first.
    const auto* pattern = reinterpret_cast<const char*>(sqlite3_value_text(argv[0]));
    const int patternBytes = sqlite3_value_bytes(argv[0]);
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(argv[1]));
    const int textBytes = sqlite3_value_bytes(argv[1]);
    sqlite3_result_int(context, LikeFolded(pattern, patternBytes, text, textBytes, escape) ? 1 : 0);
}

bool exec(sqlite3* handle, const QString& sql)
{
    return sqlite3_exec(handle, sql.toUtf8().constData(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

int userVersion(sqlite3* handle)
{
    sqlite3_stmt* stmt = nullptr;
    int version = -1;
    if (sqlite3_prepare_v2(handle, "PRAGMA user_version", -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
        version = sqlite3_column_int(stmt, 0);
    sqlite3_finalize(stmt);
    return version;
}

QStringList indexesOfCatalogueTables(sqlite3* handle)
{
    QStringList names;
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(
            handle,
            "SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL AND tbl_name IN "
            "('t_HouseType', 't_House', 't_Content', 't_Image', 't_Content_Auto')",
            -1, &stmt, nullptr) == SQLITE_OK) {
        while (sqlite3_step(stmt) == SQLITE_ROW)
            names << QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
    }
    sqlite3_finalize(stmt);
    return names;
}

// The steps of the move; the caller holds the transaction.
bool rebuildTables(sqlite3* handle)
{
    // The old indexes go first: their names are the ones the current schema creates again.
    for (const QString& index : indexesOfCatalogueTables(handle))
        if (!exec(handle, QStringLiteral("DROP INDEX \"%1\"").arg(index))) return false;
    for (const char* table : kTableNames)
        if (!exec(handle, QStringLiteral("ALTER TABLE %1 RENAME TO %1_v1").arg(QLatin1String(table))))
            return false;
    if (sqlite3_exec(handle, kSchemaSql, nullptr, nullptr, nullptr) != SQLITE_OK) return false;
    for (const char* name : kTableNames) {
        const QString table = QLatin1String(name);
        // The key counter moves with its table (the rename carried it to the old name), so a key
        // that was deleted before the move is still never handed out again.
        if (!exec(handle, QStringLiteral("INSERT INTO %1 SELECT * FROM %1_v1").arg(table)) ||
            !exec(handle, QStringLiteral("DELETE FROM sqlite_sequence WHERE name = '%1'").arg(table)) ||
            !exec(handle,
                  QStringLiteral("UPDATE sqlite_sequence SET name = '%1' WHERE name = '%1_v1'").arg(table)) ||
            !exec(handle, QStringLiteral("DROP TABLE %1_v1").arg(table)))
            return false;
    }
    return true;
}

// The tables, indexes and triggers of schema version 3; the caller holds the transaction.
bool addDealsTables(sqlite3* handle)
{
    return sqlite3_exec(handle, kDealsSql, nullptr, nullptr, nullptr) == SQLITE_OK &&
           sqlite3_exec(handle, kDealsSqliteSql, nullptr, nullptr, nullptr) == SQLITE_OK &&
           exec(handle, QStringLiteral("PRAGMA user_version = %1").arg(kSchemaVersion));
}

}  // namespace

int CompareFolded(const char* a, int aBytes, const char* b, int bBytes)
{
    const auto* s = reinterpret_cast<const unsigned char*>(a);
    const auto* t = reinterpret_cast<const unsigned char*>(b);
    int i = 0;
    int j = 0;
    // Where the last decoded pair of code points ended: from there on the bytes of both texts are
    // identical up to i and j, so going back to a code point's start never passes it.
    int syncI = 0;
    while (i < aBytes && j < bBytes) {
        const unsigned char x = s[i];
        const unsigned char y = t[j];
        if (x == y) {
            // The fast path for the common case: identical bytes (ASCII or not) need no folding.
            ++i;
            ++j;
            continue;
        }
        if ((x | y) < 0x80) {
            const int fx = (x >= 'A' && x <= 'Z') ? x + 32 : x;
            const int fy = (y >= 'A' && y <= 'Z') ? y + 32 : y;
            if (fx != fy) return fx - fy;
            ++i;
            ++j;
            continue;
        }
        // A difference inside a multi-byte character: go back to where it starts in both texts
        // (the bytes before are the same, and a byte that continues no character always starts
        // one in both) and compare whole code points, folded.
        if (i > syncI && ((x & 0xC0) == 0x80 || (y & 0xC0) == 0x80)) {
            do {
                --i;
                --j;
            } while (i > syncI && (s[i] & 0xC0) == 0x80);
        }
        const char32_t fx = fold(nextCodePoint(s, aBytes, i));
        const char32_t fy = fold(nextCodePoint(t, bBytes, j));
        if (fx != fy) return fx < fy ? -1 : 1;
        syncI = i;
    }
    if (i < aBytes) return 1;
    if (j < bBytes) return -1;
    return 0;
}

bool LikeFolded(const char* patternText, int patternBytes, const char* subjectText, int subjectBytes,
                char32_t escape)
{
    const auto* pattern = reinterpret_cast<const unsigned char*>(patternText);
    const auto* text = reinterpret_cast<const unsigned char*>(subjectText);
    int p = 0;
    int t = 0;
    // Where the last "%" was and how much text it has swallowed so far: on a mismatch it takes one
    // more character and matching goes on after it.
    int starPattern = -1;
    int starText = -1;
    while (t < subjectBytes) {
        if (p < patternBytes) {
            const int p0 = p;
            const int t0 = t;
            char32_t pc = nextCodePoint(pattern, patternBytes, p);
            bool literal = false;
            if (escape && pc == escape && p < patternBytes) {
                pc = nextCodePoint(pattern, patternBytes, p);
                literal = true;
            }
            if (!literal && pc == '%') {
                starPattern = p;
                starText = t;
                continue;
            }
            const char32_t tc = nextCodePoint(text, subjectBytes, t);
            if ((!literal && pc == '_') || fold(pc) == fold(tc)) continue;
            p = p0;
            t = t0;
        }
        if (starPattern < 0) return false;
        nextCodePoint(text, subjectBytes, starText);
        p = starPattern;
        t = starText;
    }
    while (p < patternBytes) {
        const char32_t pc = nextCodePoint(pattern, patternBytes, p);
        if (pc != '%' || (escape && pc == escape)) return false;
    }
    return true;
}

bool RegisterTextCollation(sqlite3* handle)
{
    if (!handle) return false;
    bool ok = sqlite3_create_collation_v2(handle, kTextCollation, SQLITE_UTF8, nullptr, collate, nullptr) ==
              SQLITE_OK;
    for (int args = 2; args <= 3; ++args)
        ok = sqlite3_create_function(handle, "like", args, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                                     likeFunction, nullptr, nullptr) == SQLITE_OK &&
             ok;
    // The history triggers of the deals tables read who and why through it.
    return RegisterChangeContext(handle) && ok;
}

bool UpgradeSchema(sqlite3* handle)
{
    if (!handle) return false;
    const auto older = [](int version) { return version == 1 || version == 2; };
    if (!older(userVersion(handle))) return true;
    // Immediate: a second copy opening the same old file at the same moment waits here and then
    // finds the move already made.
    if (!exec(handle, QStringLiteral("BEGIN IMMEDIATE"))) return false;
    const int version = userVersion(handle);
    if (!older(version)) return exec(handle, QStringLiteral("COMMIT"));
    // Version 1 first gets its text columns moved; then both get the deals tables, and the five
    // tables' rows stay exactly as they are.
    if ((version != 1 || rebuildTables(handle)) && addDealsTables(handle) &&
        exec(handle, QStringLiteral("COMMIT")))
        return true;
    if (!sqlite3_get_autocommit(handle)) exec(handle, QStringLiteral("ROLLBACK"));
    return false;
}

bool CreateSchema(sqlite3* handle, QString* error)
{
    for (const char* part : {kSchemaSql, kDealsSql, kDealsSqliteSql}) {
        char* message = nullptr;
        if (sqlite3_exec(handle, part, nullptr, nullptr, &message) != SQLITE_OK) {
            if (error) *error = QString::fromUtf8(message);
            sqlite3_free(message);
            return false;
        }
    }
    return true;
}

}  // namespace db
