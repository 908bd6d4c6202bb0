// Another PC, as far as a test can tell: a separate process that runs SQL on a catalogue with the
// same text comparison the program uses. "sql_elsewhere House.db 'statements'" runs the statements
// and ends; "sql_elsewhere House.db --hold" takes the write lock, prints "locked" and keeps it
// until a line arrives on its standard input.
#include <sqlite3.h>

#include <cstdio>
#include <cstring>

#include "core/db/TextCollation.h"

int main(int argc, char* argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: sql_elsewhere DATABASE SQL|--hold\n");
        return 2;
    }
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(argv[1], &handle, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        std::fprintf(stderr, "%s\n", sqlite3_errmsg(handle));
        return 1;
    }
    db::RegisterTextCollation(handle);
    sqlite3_busy_timeout(handle, 5000);
    const bool hold = std::strcmp(argv[2], "--hold") == 0;
    char* message = nullptr;
    if (sqlite3_exec(handle, hold ? "BEGIN IMMEDIATE" : argv[2], nullptr, nullptr, &message) != SQLITE_OK) {
        std::fprintf(stderr, "%s\n", message ? message : "failed");
        sqlite3_free(message);
        sqlite3_close(handle);
        return 1;
    }
    if (hold) {
        std::printf("locked\n");
        std::fflush(stdout);
        char line[16];
        if (!std::fgets(line, sizeof line, stdin)) {
        }
        sqlite3_exec(handle, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    sqlite3_close(handle);
    return 0;
}
