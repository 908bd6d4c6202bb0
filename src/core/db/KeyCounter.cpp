#include "core/db/KeyCounter.h"

#include "core/db/Connection.h"
#include "core/db/Handles.h"
#include "core/db/PgSession.h"
#include "core/db/Statement.h"

namespace db {

namespace {

// SQLite keeps the counters of AUTOINCREMENT tables in sqlite_sequence; the key is the rowid.
qint64 sqliteLastKey(Connection& connection, const QString& table)
{
    Statement query;
    if (!query.Prepare(connection,
                       QStringLiteral("SELECT max(coalesce((SELECT seq FROM sqlite_sequence WHERE "
                                      "name = ?), 0), coalesce((SELECT max(rowid) FROM %1), 0))")
                           .arg(table)) ||
        !query.Bind(1, table) || !query.Next())
        return -1;
    return query.Column(0).toLongLong();
}

bool sqliteRaiseLastKey(Connection& connection, const QString& table, qint64 last)
{
    Statement add;
    Statement raise;
    return add.Prepare(connection,
                       QStringLiteral("INSERT INTO sqlite_sequence (name, seq) SELECT ?, 0 WHERE NOT "
                                      "EXISTS (SELECT 1 FROM sqlite_sequence WHERE name = ?)")) &&
           add.Bind(1, table) && add.Bind(2, table) && add.Exec() &&
           raise.Prepare(connection,
                         QStringLiteral("UPDATE sqlite_sequence SET seq = max(seq, ?) WHERE name = ?")) &&
           raise.Bind(1, last) && raise.Bind(2, table) && raise.Exec();
}

// On the server every key column has its own sequence.
QString sequenceOf(PgSession* server, const QString& table)
{
    return QStringLiteral("pg_get_serial_sequence('%1', '%2')").arg(table, server->KeyColumn(table));
}

qint64 serverLastKey(PgSession* server, const QString& table)
{
    PgRows rows;
    const QString sql = QStringLiteral("SELECT coalesce(pg_sequence_last_value(%1::regclass), 0)")
                            .arg(sequenceOf(server, table));
    if (!server->ExecuteNative(sql, &rows) || rows.rowCount != 1) return -1;
    return rows.cells.front().toLongLong();
}

bool serverRaiseLastKey(PgSession* server, const QString& table, qint64 last)
{
    if (last <= 0) return true;
    const QString sequence = sequenceOf(server, table);
    return server->ExecuteNative(
        QStringLiteral(
            "SELECT setval(%1, greatest(%2, coalesce(pg_sequence_last_value(%1::regclass), 0)), true)")
            .arg(sequence)
            .arg(last));
}

}  // namespace

qint64 LastKey(Connection& connection, const QString& table)
{
    if (PgSession* server = Handles::Server(connection)) return serverLastKey(server, table);
    return Handles::Sqlite(connection) ? sqliteLastKey(connection, table) : -1;
}

bool RaiseLastKey(Connection& connection, const QString& table, qint64 last)
{
    if (PgSession* server = Handles::Server(connection)) return serverRaiseLastKey(server, table, last);
    return Handles::Sqlite(connection) && sqliteRaiseLastKey(connection, table, last);
}

}  // namespace db
