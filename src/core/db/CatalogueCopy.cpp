#include "core/db/CatalogueCopy.h"

#include <sqlite3.h>

#include <QStringList>

#include "core/db/Connection.h"
#include "core/db/Handles.h"
#include "core/db/KeyCounter.h"
#include "core/db/PgSession.h"
#include "core/db/Recordset.h"
#include "core/db/Statement.h"
#include "core/db/schema_sql.h"

namespace db {

namespace {

// The server's triggers that would write history or release holds while the rows come in: the
// copy carries the history as it stands.
const char* const kServerTriggers[][2] = {
    {"t_Content", "t_content_history"}, {"t_Deal", "t_deal_notify"}, {"t_Deal", "t_deal_expire"}};

QString allTables()
{
    QStringList names;
    for (const char* table : kCopiedTables) names << QLatin1String(table);
    return names.join(QStringLiteral(", ")) + QStringLiteral(", t_File");
}

bool serverRun(PgSession* server, const QString& sql, QString* error, const QString& what)
{
    if (server->ExecuteNative(sql)) return true;
    *error = what + QStringLiteral(": ") + server->LastError();
    return false;
}

bool switchTriggers(PgSession* server, bool on, QString* error)
{
    for (const auto& trigger : kServerTriggers) {
        if (!serverRun(
                server,
                QStringLiteral("ALTER TABLE %1 %2 TRIGGER %3")
                    .arg(QLatin1String(trigger[0]), on ? QStringLiteral("ENABLE") : QStringLiteral("DISABLE"),
                         QLatin1String(trigger[1])),
                error, QStringLiteral("cannot set the history triggers aside")))
            return false;
    }
    return true;
}

bool serverHasTable(PgSession* server, const QString& table)
{
    PgRows rows;
    return server->ExecuteParams(QStringLiteral("SELECT to_regclass($1) IS NOT NULL"), {table.toLower()},
                                 &rows) &&
           rows.rowCount == 1 && rows.cells.front().toBool();
}

// The server's columns of a table as a select list that reads every moment as House.db keeps it.
QString serverSelectList(PgSession* server, const QString& table, bool* ok)
{
    PgRows rows;
    *ok = server->ExecuteParams(
              QStringLiteral("SELECT attname, atttypid = 'timestamptz'::regtype FROM pg_attribute "
                             "WHERE attrelid = $1::regclass AND attnum > 0 AND NOT attisdropped "
                             "ORDER BY attnum"),
              {table.toLower()}, &rows) &&
          rows.rowCount > 0;
    QStringList columns;
    for (int r = 0; *ok && r < rows.rowCount; ++r) {
        const QString name = rows.cells[size_t(r) * 2].toString();
        columns << (rows.cells[size_t(r) * 2 + 1].toBool()
                        ? QStringLiteral("to_char(%1 AT TIME ZONE 'UTC', 'YYYY-MM-DD HH24:MI:SS') AS %1")
                              .arg(name)
                        : name);
    }
    return columns.join(QStringLiteral(", "));
}

bool fileExec(Connection& file, const char* sql, QString* error)
{
    char* message = nullptr;
    if (sqlite3_exec(Handles::Sqlite(file), sql, nullptr, nullptr, &message) == SQLITE_OK) return true;
    *error = QStringLiteral("cannot write House.db: ") + QString::fromUtf8(message);
    sqlite3_free(message);
    return false;
}

}  // namespace

bool SetTriggersAside(Connection& file, QString* error)
{
    QStringList names;
    {
        Statement triggers;
        if (!Handles::Sqlite(file) ||
            !triggers.Prepare(file,
                              QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'trigger'"))) {
            *error = QStringLiteral("cannot read House.db: ") + file.LastError();
            return false;
        }
        while (triggers.Next()) names << triggers.Column(0).toString();
    }
    for (const QString& name : names)
        if (!fileExec(file, QStringLiteral("DROP TRIGGER \"%1\"").arg(name).toUtf8().constData(), error))
            return false;
    return true;
}

bool PutTriggersBack(Connection& file, QString* error)
{
    return Handles::Sqlite(file) && fileExec(file, kDealsSqliteSql, error);
}

qint64 ServerCatalogueSize(Connection& connection)
{
    PgSession* server = Handles::Server(connection);
    if (!server) return -1;
    QStringList counts;
    for (const char* table : kCopiedTables)
        if (serverHasTable(server, QLatin1String(table)))
            counts << QStringLiteral("(SELECT count(*) FROM %1)").arg(QLatin1String(table));
    counts << QStringLiteral("(SELECT count(*) FROM t_File)");
    PgRows rows;
    if (!server->ExecuteNative(QStringLiteral("SELECT ") + counts.join(QStringLiteral(" + ")), &rows) ||
        rows.rowCount != 1)
        return -1;
    return rows.cells.front().toLongLong();
}

bool BeginUpload(Connection& connection, bool replace, QString* error)
{
    PgSession* server = Handles::Server(connection);
    if (!server) {
        *error = QStringLiteral("no server catalogue");
        return false;
    }
    if (!serverRun(server, QStringLiteral("BEGIN"), error, QStringLiteral("cannot begin"))) return false;
    if (!switchTriggers(server, false, error) ||
        (replace && !serverRun(server, QStringLiteral("TRUNCATE %1 RESTART IDENTITY").arg(allTables()), error,
                               QStringLiteral("cannot empty the server catalogue")))) {
        AbandonUpload(connection);
        return false;
    }
    return true;
}

bool UploadTable(Connection& file, Connection& connection, const QString& table, qint64* count,
                 QString* error)
{
    PgSession* server = Handles::Server(connection);
    Recordset rows;
    if (!rows.Open(QStringLiteral("Select * From ") + table, file, CursorType::ForwardOnly)) {
        *error = QStringLiteral("cannot read %1 from House.db: %2").arg(table, file.LastError());
        return false;
    }
    QStringList columns;
    for (int i = 0; i < rows.FieldCount(); ++i) columns << rows.FieldName(i);
    const QString head =
        QStringLiteral("INSERT INTO %1 (%2) VALUES ").arg(table, columns.join(QStringLiteral(", ")));
    // Batches of 500 rows: few round trips, and statements of a size the server takes easily.
    QStringList batch;
    *count = 0;
    const auto flush = [&] {
        if (batch.isEmpty()) return true;
        const bool sent = server->ExecuteNative(head + batch.join(QStringLiteral(", ")));
        batch.clear();
        return sent;
    };
    while (!rows.Eof()) {
        QStringList values;
        for (int i = 0; i < rows.FieldCount(); ++i) values << server->Literal(rows.Field(i));
        batch << QLatin1Char('(') + values.join(QStringLiteral(", ")) + QLatin1Char(')');
        ++*count;
        if (batch.size() == 500 && !flush()) break;
        rows.MoveNext();
    }
    if (!rows.Eof() || !flush()) {
        *error = QStringLiteral("cannot write %1: %2").arg(table, server->LastError());
        return false;
    }
    // The server's key counter continues where House.db's stood, so a deleted key stays unused.
    const QString key = server->KeyColumn(table);
    if (key.isEmpty()) return true;
    const qint64 last = qMax<qint64>(LastKey(file, table), 0);
    return serverRun(server,
                     QStringLiteral("SELECT setval(pg_get_serial_sequence('%1', '%2'), %3, %4)")
                         .arg(table, key)
                         .arg(qMax<qint64>(last, 1))
                         .arg(last > 0 ? QStringLiteral("true") : QStringLiteral("false")),
                     error, QStringLiteral("cannot set the key counter of %1").arg(table));
}

bool FinishUpload(Connection& connection, QString* error)
{
    PgSession* server = Handles::Server(connection);
    if (!switchTriggers(server, true, error) ||
        !serverRun(server, QStringLiteral("COMMIT"), error, QStringLiteral("cannot commit"))) {
        AbandonUpload(connection);
        return false;
    }
    // Fresh statistics and visibility, so the first queries already use the indexes.
    server->ExecuteNative(QStringLiteral("VACUUM (ANALYZE) ") + allTables());
    return true;
}

void AbandonUpload(Connection& connection)
{
    if (PgSession* server = Handles::Server(connection)) server->ExecuteNative(QStringLiteral("ROLLBACK"));
}

bool BeginDownload(Connection& connection, Connection& file, QString* error)
{
    PgSession* server = Handles::Server(connection);
    if (!server || !Handles::Sqlite(file)) {
        *error = QStringLiteral("no catalogue to copy");
        return false;
    }
    if (!file.BeginTrans()) {
        *error = QStringLiteral("cannot begin on House.db: ") + file.LastError();
        return false;
    }
    if (!SetTriggersAside(file, error)) return false;
    // A read-only snapshot: the tables agree with each other even while PCs keep saving.
    return serverRun(server, QStringLiteral("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY"), error,
                     QStringLiteral("cannot read the server catalogue"));
}

bool DownloadTable(Connection& connection, Connection& file, const QString& table, qint64* count,
                   QString* error)
{
    PgSession* server = Handles::Server(connection);
    *count = 0;
    if (!serverHasTable(server, table)) return true;
    bool listed = false;
    const QString select = serverSelectList(server, table, &listed);
    PgRows rows;
    if (!listed ||
        !server->ExecuteNative(QStringLiteral("SELECT %1 FROM %2 ORDER BY 1").arg(select, table), &rows)) {
        *error = QStringLiteral("cannot read %1: %2").arg(table, server->LastError());
        return false;
    }
    QStringList marks;
    for (int i = 0; i < rows.names.size(); ++i) marks << QStringLiteral("?");
    Statement insert;
    if (!insert.Prepare(
            file, QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                      .arg(table, rows.names.join(QStringLiteral(", ")), marks.join(QStringLiteral(", "))))) {
        *error = QStringLiteral("cannot write %1: %2").arg(table, file.LastError());
        return false;
    }
    const int width = int(rows.names.size());
    for (int r = 0; r < rows.rowCount; ++r) {
        for (int c = 0; c < width; ++c) insert.Bind(c + 1, rows.cells[size_t(r) * width + c]);
        if (!insert.Exec()) {
            *error = QStringLiteral("cannot write %1: %2").arg(table, file.LastError());
            return false;
        }
    }
    *count = rows.rowCount;
    // House.db's key counter continues where the server's stood.
    if (server->KeyColumn(table).isEmpty()) return true;
    const qint64 last = LastKey(connection, table);
    if (last > 0 && !RaiseLastKey(file, table, last)) {
        *error = QStringLiteral("cannot set the key counter of %1").arg(table);
        return false;
    }
    return true;
}

bool FinishDownload(Connection& connection, Connection& file, QString* error)
{
    Handles::Server(connection)->ExecuteNative(QStringLiteral("COMMIT"));
    if (!PutTriggersBack(file, error)) return false;
    if (!file.CommitTrans()) {
        *error = QStringLiteral("cannot commit House.db: ") + file.LastError();
        return false;
    }
    return true;
}

}  // namespace db
