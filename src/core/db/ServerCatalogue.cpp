#include "core/db/ServerCatalogue.h"

#include <libpq-fe.h>

#include "core/db/DialectPostgres.h"

namespace db {

bool InitServerCatalogue(const QString& uri, QString* error)
{
    const QByteArray dbname = uri.toUtf8();
    const char* keywords[] = {"connect_timeout", "client_encoding", "dbname", nullptr};
    const char* values[] = {"5", "UTF8", dbname.constData(), nullptr};
    PGconn* conn = PQconnectdbParams(keywords, values, 1);
    auto fail = [&](const QString& message) {
        if (error) *error = message;
        PQfinish(conn);
        return false;
    };
    if (PQstatus(conn) != CONNECTION_OK) return fail(QString::fromUtf8(PQerrorMessage(conn)).trimmed());
    PQclear(
        PQexecParams(conn, "SET client_min_messages = warning", 0, nullptr, nullptr, nullptr, nullptr, 0));

    PGresult* existing =
        PQexecParams(conn,
                     "SELECT count(*) FROM pg_class WHERE relkind = 'r' AND relnamespace = "
                     "to_regnamespace(current_schema()) AND relname IN ('t_housetype', 't_house', "
                     "'t_content', 't_image', 't_content_auto', 't_file')",
                     0, nullptr, nullptr, nullptr, nullptr, 0);
    const bool counted = PQresultStatus(existing) == PGRES_TUPLES_OK;
    const int tables = counted ? atoi(PQgetvalue(existing, 0, 0)) : -1;
    const QString countError = QString::fromUtf8(PQresultErrorMessage(existing)).trimmed();
    PQclear(existing);
    if (!counted) return fail(countError);
    if (tables > 0) return fail(QStringLiteral("the database already has Tavrelo's tables"));

    // The schema is the one script of several statements the program sends: fixed text, made from
    // schema.sql, with nothing typed in it.
    const QByteArray schema =
        (QStringLiteral("BEGIN;\n") + PostgresSchema() + QStringLiteral("\nCOMMIT;")).toUtf8();
    PGresult* result = PQexec(conn, schema.constData());
    const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK;
    const QString message = QString::fromUtf8(PQresultErrorMessage(result)).trimmed();
    PQclear(result);
    if (!ok) return fail(message);
    PQfinish(conn);
    return true;
}

}  // namespace db
