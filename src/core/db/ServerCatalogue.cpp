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

namespace {

// Runs a fixed script of several statements (made from the schema files, with nothing typed in it)
// as one transaction.
bool runScript(PGconn* conn, const QString& script, QString* message)
{
    const QByteArray text = (QStringLiteral("BEGIN;\n") + script + QStringLiteral(";\nCOMMIT;")).toUtf8();
    PGresult* result = PQexec(conn, text.constData());
    const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK;
    *message = QString::fromUtf8(PQresultErrorMessage(result)).trimmed();
    PQclear(result);
    if (!ok) PQclear(PQexec(conn, "ROLLBACK"));
    return ok;
}

// How many of the named tables the catalogue's schema holds; -1 when that cannot be read.
int countTables(PGconn* conn, const char* names, QString* message)
{
    const QByteArray sql = QByteArray(
                               "SELECT count(*) FROM pg_class WHERE relkind = 'r' AND relnamespace = "
                               "to_regnamespace(current_schema()) AND relname IN (") +
                           names + ")";
    PGresult* result = PQexecParams(conn, sql.constData(), 0, nullptr, nullptr, nullptr, nullptr, 0);
    const bool counted = PQresultStatus(result) == PGRES_TUPLES_OK;
    const int count = counted ? atoi(PQgetvalue(result, 0, 0)) : -1;
    *message = QString::fromUtf8(PQresultErrorMessage(result)).trimmed();
    PQclear(result);
    return count;
}

const char* const kCatalogueTables =
    "'t_housetype', 't_house', 't_content', 't_image', 't_content_auto', 't_file'";
const char* const kDealsTables = "'t_setting', 't_consultant', 't_customer', 't_deal', 't_history'";

PGconn* connectQuietly(const QString& uri, QString* error)
{
    PGconn* conn = ConnectServer(uri, error);
    if (conn)
        PQclear(PQexecParams(conn, "SET client_min_messages = warning", 0, nullptr, nullptr, nullptr, nullptr,
                             0));
    return conn;
}

}  // namespace

bool InitServerCatalogue(const QString& uri, QString* error)
{
    QString message;
    PGconn* conn = connectQuietly(uri, &message);
    auto fail = [&](const QString& why) {
        if (error) *error = why;
        if (conn) PQfinish(conn);
        return false;
    };
    if (!conn) return fail(message);
    const int tables = countTables(conn, kCatalogueTables, &message);
    if (tables < 0) return fail(message);
    if (tables > 0) return fail(QStringLiteral("the database already has Tavrelo's tables"));
    if (!runScript(conn, PostgresSchema(), &message)) return fail(message);
    PQfinish(conn);
    return true;
}

ServerUpgrade UpgradeServerCatalogue(const QString& uri, QString* error)
{
    QString message;
    PGconn* conn = connectQuietly(uri, &message);
    auto fail = [&](const QString& why) {
        if (error) *error = why;
        if (conn) PQfinish(conn);
        return ServerUpgrade::Failed;
    };
    if (!conn) return fail(message);
    const int tables = countTables(conn, kCatalogueTables, &message);
    if (tables < 0) return fail(message);
    if (tables < 6) {
        fail(QStringLiteral("the database has no Tavrelo catalogue; run tavrelo-server init"));
        return ServerUpgrade::NoCatalogue;
    }
    const int deals = countTables(conn, kDealsTables, &message);
    if (deals < 0) return fail(message);
    if (deals == 5) {
        PQfinish(conn);
        return ServerUpgrade::Current;
    }
    if (deals > 0)
        return fail(QStringLiteral("the catalogue has only some of the deals tables; nothing was changed"));
    if (!runScript(conn, PostgresDealsSchema(), &message))
        return fail(QStringLiteral("cannot add the deals tables: %1 (nothing was changed)").arg(message));
    PQfinish(conn);
    return ServerUpgrade::Upgraded;
}

}  // namespace db
