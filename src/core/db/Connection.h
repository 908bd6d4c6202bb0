#pragma once

#include <QString>

struct sqlite3;

namespace db {

class Recordset;

// One connection to the catalogue file. It never creates the file: opening fails when the file is
// missing, is not an SQLite database, lacks one of the five tables, or stays locked by another
// process. No call throws; every call reports success and the caller decides whether to care.
class Connection {
public:
    Connection() = default;
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool Open(const QString& databasePath);
    void Close();
    bool IsOpen() const { return handle_ != nullptr; }

    // Runs a statement that returns no rows (Delete, Update, Insert).
    bool Execute(const QString& jetSql);
    // Runs a query into a forward-only, read-only recordset.
    bool Execute(const QString& jetSql, Recordset& result);

    QString LastError() const { return lastError_; }
    sqlite3* Handle() const { return handle_; }

private:
    friend class Recordset;
    void setError(const QString& message) { lastError_ = message; }

    sqlite3* handle_ = nullptr;
    QString lastError_;
};

// The five table names, in the order the schema lists them.
inline constexpr const char* kTableNames[] = {"t_HouseType", "t_House", "t_Content", "t_Image",
                                              "t_Content_Auto"};

// Writes a new, empty catalogue with the schema at path. Refuses (false) when a file is already
// there: an existing catalogue is never overwritten.
bool CreateEmptyDatabase(const QString& path, QString* error = nullptr);

}  // namespace db
