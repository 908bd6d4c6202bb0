#include "core/db/ServerCatalogue.h"

#include <libpq-fe.h>

#include "core/db/DialectPostgres.h"
#include "core/db/ServerLogin.h"

namespace db {

const char* const kKeysGrowFunction = R"(
-- The trigger moves a key sequence, which only the role that owns the tables may do: it runs with
-- that role's rights, so a PC's login that may insert rows never gets to move a counter itself,
-- and with a fixed search path, so nobody can slip a function of the same name in front of it.
CREATE OR REPLACE FUNCTION tavrelo_keys_grow() RETURNS trigger LANGUAGE plpgsql
SECURITY DEFINER SET search_path = pg_catalog, pg_temp AS $$
DECLARE
    k bigint := (to_jsonb(NEW) ->> TG_ARGV[0])::bigint;
    s regclass := pg_get_serial_sequence(format('%I.%I', TG_TABLE_SCHEMA, TG_TABLE_NAME),
                                         TG_ARGV[0])::regclass;
BEGIN
    IF k IS NOT NULL AND k > coalesce(pg_sequence_last_value(s), 0) THEN
        PERFORM setval(s, k);
    END IF;
    RETURN NEW;
END $$)";

const char* const kKeysGrowRevoke = "REVOKE ALL ON FUNCTION tavrelo_keys_grow() FROM PUBLIC";

bool InitServerCatalogue(const QString& uri, QString* error)
{
    QString connectError;
    PGconn* conn = ConnectServer(uri, &connectError);
    auto fail = [&](const QString& message) {
        if (error) *error = message;
        if (conn) PQfinish(conn);
        return false;
    };
    if (!conn) return fail(connectError);
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
        (QStringLiteral("BEGIN;\n") + PostgresSchema() + QLatin1String(kKeysGrowFunction) +
         QStringLiteral(";\n") + QLatin1String(kKeysGrowRevoke) + QStringLiteral(";\nCOMMIT;"))
            .toUtf8();
    PGresult* result = PQexec(conn, schema.constData());
    const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK;
    const QString message = QString::fromUtf8(PQresultErrorMessage(result)).trimmed();
    PQclear(result);
    if (!ok) return fail(message);
    PQfinish(conn);
    return true;
}

}  // namespace db
