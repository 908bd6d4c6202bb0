#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <vector>

#include "core/db/Sql.h"

struct sqlite3_stmt;

namespace db {

class Connection;

enum class CursorType { ForwardOnly, Keyset };
enum class LockType { ReadOnly, Optimistic };

// The rows of one statement, in the shape the windows' descriptions use: Eof/MoveNext/Field.
//  - Forward-only recordsets step the statement lazily and know no record count (-1).
//  - Keyset recordsets read every row at Open, so RecordCount is known.
//  - Keyset + Optimistic on a single-table "Select * From t ..." (or a plain column list, as in
//    "Select a, b From t Where ...") can AddNew, SetField and Update;
//    values are bound as parameters, so an apostrophe in a value is stored as it is.
class Recordset {
public:
    Recordset() = default;
    ~Recordset();
    Recordset(const Recordset&) = delete;
    Recordset& operator=(const Recordset&) = delete;

    bool Open(const Sql& jetSql, Connection& connection, CursorType cursor = CursorType::Keyset,
              LockType lock = LockType::ReadOnly);
    void Close();
    bool IsOpen() const { return open_; }

    bool Eof() const;
    void MoveNext();
    int RecordCount() const;  // -1 when not known (forward-only)

    int FieldCount() const { return int(names_.size()); }
    QString FieldName(int index) const { return names_.value(index); }
    // Field values by name, without regard to case; a null QVariant for NULL, no row or no column.
    QVariant Field(const QString& name) const;
    QVariant Field(int index) const;

    bool AddNew();
    // Fails, leaving the field as it was, when the recordset cannot be updated, the column does not
    // exist, or a number column is given something the long-integer conversion refuses.
    bool SetField(const QString& name, const QVariant& value);
    bool Update();

private:
    friend class Connection;
    bool prepare(const Sql& jetSql, Connection& connection);
    void readColumnNames();
    QVariant columnValue(int index) const;
    bool stepForward();
    int indexOf(const QString& name) const;
    bool loadTableColumns();
    bool keepWrittenRow();
    // The server side (RecordsetServer.cpp): every row is read at Open, whatever the cursor.
    bool openServer(const Sql& jetSql, Connection& connection);
    bool updateServer(const QStringList& columns, const std::vector<QVariant>& values);

    Connection* connection_ = nullptr;
    sqlite3_stmt* stmt_ = nullptr;
    bool open_ = false;
    bool keyset_ = false;
    bool serverRows_ = false;  // rows read from a server, held as a keyset's are
    bool eof_ = true;
    QStringList names_;
    QHash<QString, int> nameIndex_;  // lower-case name -> index

    // keyset
    std::vector<QVariant> cells_;  // rowCount_ rows of width_ values, row after row
    int width_ = 0;
    int rowCount_ = 0;
    int current_ = 0;

    // updating
    bool updatable_ = false;
    QString table_;
    QString selectList_;                  // "*" or the selected columns of an updatable recordset
    int rowidColumn_ = -1;                // hidden column holding the row id, keyset + optimistic only
    QHash<QString, bool> numberColumns_;  // lower-case column -> declared INTEGER
    bool adding_ = false;
    std::vector<QVariant> buffer_;
    std::vector<bool> dirty_;
};

}  // namespace db
