#include "core/db/CatalogueIdentity.h"

#include <sqlite3.h>

#include <QRandomGenerator>

#include "core/db/Connection.h"
#include "core/db/Handles.h"
#include "core/db/PgSession.h"

namespace db {

namespace {

qint64 applicationId(sqlite3* handle)
{
    sqlite3_stmt* stmt = nullptr;
    qint64 id = -1;
    if (sqlite3_prepare_v2(handle, "PRAGMA application_id", -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
        id = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
    return id;
}

QString serverIdentity(PgSession* server)
{
    PgRows rows;
    QString system;
    // Not every role may read the control data; the database's name and number then stand alone.
    if (server->ExecuteNative(QStringLiteral("SELECT system_identifier::text FROM pg_control_system()"),
                              &rows) &&
        rows.rowCount == 1)
        system = rows.cells.front().toString();
    rows = PgRows();
    if (!server->ExecuteNative(QStringLiteral("SELECT current_database(), oid::text FROM pg_database "
                                              "WHERE datname = current_database()"),
                               &rows) ||
        rows.rowCount != 1)
        return QString();
    return QStringLiteral("pg:%1/%2/%3").arg(system, rows.cells[0].toString(), rows.cells[1].toString());
}

}  // namespace

QString CatalogueIdentity(Connection& connection, bool assign)
{
    if (PgSession* server = Handles::Server(connection)) return serverIdentity(server);
    sqlite3* handle = Handles::Sqlite(connection);
    if (!handle) return QString();
    qint64 id = applicationId(handle);
    if (id == 0 && assign) {
        // Any number but 0, which means "none yet"; 31 bits keep it positive.
        const quint32 chosen = 1 + QRandomGenerator::system()->bounded(0x7FFFFFFEu);
        const QByteArray sql = "PRAGMA application_id = " + QByteArray::number(chosen);
        if (sqlite3_exec(handle, sql.constData(), nullptr, nullptr, nullptr) == SQLITE_OK)
            id = applicationId(handle);
    }
    if (id <= 0) return QString();
    return QStringLiteral("House.db:") +
           QString::number(quint32(id), 16).toUpper().rightJustified(8, QLatin1Char('0'));
}

}  // namespace db
