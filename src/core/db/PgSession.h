#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <memory>
#include <vector>

#include "core/db/Sql.h"

typedef struct pg_conn PGconn;
typedef struct pg_result PGresult;

namespace db {

struct PgValues;

// The rows of one statement run on the server, read in full: names, then width values per row.
struct PgRows {
    QStringList names;
    std::vector<QVariant> cells;
    int rowCount = 0;
};

// One libpq connection to a shared catalogue. Connection hands every call to it when the store is a
// server; the windows never know which store they talk to.
class PgSession {
public:
    PgSession() = default;
    ~PgSession();
    PgSession(const PgSession&) = delete;
    PgSession& operator=(const PgSession&) = delete;

    // Connects (reaching the server is bounded by a connect timeout unless the URI names one) and
    // checks that the five tables are there.
    bool Open(const QString& uri);
    void Close();

    // Every routine opens and closes its own connection; a new server session costs a process on
    // the server and several round trips, so closed sessions wait in a small pool of this program
    // and the next open of the same catalogue takes one back after one round trip that proves the
    // server is still there (a session whose server went away is dropped, and a new one is tried).
    static std::unique_ptr<PgSession> Acquire(const QString& uri, QString* error);
    static void Release(std::unique_ptr<PgSession> session);

    // Runs one statement in the program's Access/Jet dialect, its values bound (core/db/Sql.h);
    // rows (when given) receive its result.
    bool Execute(const Sql& jetSql, PgRows* rows = nullptr);
    // Runs one statement that is already PostgreSQL, without the dialect adapter.
    bool ExecuteNative(const QString& sql, PgRows* rows = nullptr);
    // Runs one PostgreSQL statement with $1, $2 ... standing for values (a null QVariant is NULL,
    // anything else goes as text and takes the type the statement gives its place); the values are
    // never pasted into the text.
    bool ExecuteParams(const QString& sql, const std::vector<QVariant>& values, PgRows* rows = nullptr);
    // The same with each value declaring its type (text, whole number, double), for a statement
    // whose placeholders stand where the server cannot infer one.
    bool ExecuteBound(const QString& sql, const std::vector<QVariant>& values, PgRows* rows = nullptr);

    // Rows the last statement changed (0 after a failure or for a query).
    int RowsAffected() const { return rowsAffected_; }

    bool Begin();
    bool Commit();
    void Rollback();
    bool InTransaction() const { return inTransaction_; }

    // Table facts for updatable recordsets (lower-case names).
    QString KeyColumn(const QString& table) const { return keys_.value(table.toLower()); }
    bool IsNumberColumn(const QString& table, const QString& column) const
    {
        return numberColumns_.value(table.toLower() + QLatin1Char('.') + column.toLower(), false);
    }
    bool HasColumn(const QString& table, const QString& column) const
    {
        return numberColumns_.contains(table.toLower() + QLatin1Char('.') + column.toLower());
    }
    // A value as an SQL literal (quoted and escaped by libpq; numbers as they are; NULL).
    QString Literal(const QVariant& value) const;
    // Remembers the key that this connection's own insert made, for the "largest key" read-back.
    void NoteInsertedKey(const QString& table, qint64 key) { insertedKeys_.insert(table.toLower(), key); }

    QString LastError() const { return lastError_; }
    // A statement since Begin failed because the server refuses this login any change (SQLSTATE
    // 42501, insufficient privilege) or is read-only (25006).
    bool WriteRefused() const { return writeRefused_; }
    PGconn* Handle() const { return conn_; }

    // Remembers a result that says this login may only look (insufficient privilege, or a
    // read-only transaction): statements sent outside run (a pipeline) report through it too.
    void NoteRefusal(const PGresult* result);
    static bool IsWriteRefusal(const PGresult* result);

private:
    enum class ValueTypes { Inferred, Declared };
    struct Results;
    // Every statement runs as exactly one statement of the extended protocol; inside a transaction
    // with a savepoint around it (runPiped), otherwise on its own (runAlone).
    bool run(const QString& sql, PgRows* rows, const std::vector<QVariant>* values = nullptr,
             ValueTypes types = ValueTypes::Inferred);
    bool runPiped(const QByteArray& text, const PgValues& values, Results& results);
    bool runAlone(const QByteArray& text, const PgValues& values, Results& results);
    void returnToSavepoint();
    QString ownKeyReadBack(const QString& jetSql) const;
    bool loadTables();

    PGconn* conn_ = nullptr;
    QString uri_;
    bool inTransaction_ = false;
    int rowsAffected_ = 0;
    bool writeRefused_ = false;
    QString lastError_;
    QHash<QString, QString> keys_;         // table -> key column
    QHash<QString, bool> numberColumns_;   // "table.column" -> whole number column
    QHash<QString, qint64> insertedKeys_;  // table -> key of this connection's last insert
};

// Reads one result into rows (values typed by their column types).
void ReadPgResult(PGresult* result, PgRows* rows);

}  // namespace db
