// Another PC, as far as a test can tell: a separate process that runs SQL on a catalogue with the
// same text comparison the program uses. "sql_elsewhere House.db 'statements'" runs the statements
// and ends; "sql_elsewhere House.db --hold" takes the write lock, prints "locked" and keeps it
// until a line arrives on its standard input. A libpq URI (postgresql:...) in place of House.db
// does the same on a shared catalogue's server, where the lock is one on all five tables that
// lets readers through, as SQLite's write lock does.
#include <libpq-fe.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstring>

#include "core/db/TextCollation.h"

namespace {

void waitForLine()
{
    std::printf("locked\n");
    std::fflush(stdout);
    char line[16];
    if (!std::fgets(line, sizeof line, stdin)) {
    }
}

int onServer(const char* uri, const char* sql, bool hold)
{
    PGconn* conn = PQconnectdb(uri);
    if (PQstatus(conn) != CONNECTION_OK) {
        std::fprintf(stderr, "%s\n", PQerrorMessage(conn));
        PQfinish(conn);
        return 1;
    }
    PGresult* result = PQexec(
        conn,
        hold ? "BEGIN; LOCK TABLE t_HouseType, t_House, t_Content, t_Image, t_Content_Auto IN EXCLUSIVE MODE"
             : sql);
    const ExecStatusType status = PQresultStatus(result);
    PQclear(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        std::fprintf(stderr, "%s\n", PQerrorMessage(conn));
        PQfinish(conn);
        return 1;
    }
    if (hold) {
        waitForLine();
        PQclear(PQexec(conn, "ROLLBACK"));
    }
    PQfinish(conn);
    return 0;
}

}  // namespace

int main(int argc, char* argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: sql_elsewhere DATABASE|URI SQL|--hold\n");
        return 2;
    }
    const bool hold = std::strcmp(argv[2], "--hold") == 0;
    if (std::strncmp(argv[1], "postgres", 8) == 0) return onServer(argv[1], argv[2], hold);
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(argv[1], &handle, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        std::fprintf(stderr, "%s\n", sqlite3_errmsg(handle));
        return 1;
    }
    db::RegisterTextCollation(handle);
    sqlite3_busy_timeout(handle, 5000);
    char* message = nullptr;
    if (sqlite3_exec(handle, hold ? "BEGIN IMMEDIATE" : argv[2], nullptr, nullptr, &message) != SQLITE_OK) {
        std::fprintf(stderr, "%s\n", message ? message : "failed");
        sqlite3_free(message);
        sqlite3_close(handle);
        return 1;
    }
    if (hold) {
        waitForLine();
        sqlite3_exec(handle, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    sqlite3_close(handle);
    return 0;
}
