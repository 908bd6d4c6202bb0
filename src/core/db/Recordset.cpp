#include "core/db/Recordset.h"

#include <sqlite3.h>

#include <QRegularExpression>
#include <algorithm>

#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/Dialect.h"

namespace db {

namespace {

const char* const kRowidName = "__tavrelo_rowid";

}  // namespace

Recordset::~Recordset()
{
    Close();
}

void Recordset::Close()
{
    if (stmt_) sqlite3_finalize(stmt_);
    stmt_ = nullptr;
    open_ = false;
    serverRows_ = false;
    eof_ = true;
    names_.clear();
    nameIndex_.clear();
    cells_.clear();
    width_ = 0;
    rowCount_ = 0;
    current_ = 0;
    updatable_ = false;
    table_.clear();
    selectList_.clear();
    rowidColumn_ = -1;
    numberColumns_.clear();
    adding_ = false;
    buffer_.clear();
    dirty_.clear();
    connection_ = nullptr;
}

bool Recordset::prepare(const Sql& jetSql, Connection& connection)
{
    const Sql::Bound bound = jetSql.Bind();
    if (!bound.valid) {
        connection.setError(QStringLiteral("a value in the statement is not a number"));
        return false;
    }
    QString sql = toSqlite(bound.text);
    if (updatable_) {
        // Only "Select * From <one table> ..." or "Select a, b From <one table> ..." can be written
        // back; the row id rides along as a hidden last column so that Update knows which row to change.
        static const QRegularExpression single(
            QStringLiteral(
                R"(^(\s*Select\s+)(\*|\w+(?:\s*,\s*\w+)*)(\s+From\s+(\w+)\s*(?:$|\s(?:Where|Order)\b.*))$)"),
            QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
        const QRegularExpressionMatch m = single.match(sql);
        if (m.hasMatch()) {
            selectList_ = m.captured(2);
            table_ = m.captured(4);
            sql = m.captured(1) + selectList_ + QStringLiteral(", _rowid_ AS ") + QLatin1String(kRowidName) +
                  m.captured(3);
        } else {
            updatable_ = false;
        }
    }
    stmt_ = connection.prepareSqlite(sql, bound.values);
    return stmt_ != nullptr;
}

void Recordset::readColumnNames()
{
    const int count = sqlite3_column_count(stmt_);
    for (int i = 0; i < count; ++i) {
        const QString name = QString::fromUtf8(sqlite3_column_name(stmt_, i));
        if (updatable_ && name == QLatin1String(kRowidName)) {
            rowidColumn_ = i;
            continue;
        }
        names_.append(name);
        const QString key = name.toLower();
        if (!nameIndex_.contains(key)) nameIndex_.insert(key, i);
    }
}

bool Recordset::Open(const Sql& jetSql, Connection& connection, CursorType cursor, LockType lock)
{
    Close();
    if (!connection.IsOpen()) {
        connection.setError(QStringLiteral("connection is not open"));
        return false;
    }
    connection_ = &connection;
    keyset_ = cursor == CursorType::Keyset;
    updatable_ = keyset_ && lock == LockType::Optimistic;
    if (connection.Server()) return openServer(jetSql, connection);
    if (!prepare(jetSql, connection)) {
        connection_ = nullptr;
        return false;
    }
    readColumnNames();
    if (updatable_ && !loadTableColumns()) updatable_ = false;

    if (!keyset_) {
        const int rc = sqlite3_step(stmt_);
        if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
            // A statement that prepares but cannot run (a busy file, say) fails like a bad one.
            connection.setError(QString::fromUtf8(sqlite3_errmsg(connection.handle_)));
            Close();
            return false;
        }
        open_ = true;
        eof_ = rc != SQLITE_ROW;
        return true;
    }

    // All rows in one array, row after row: a list of 100,000 houses is then one allocation that
    // grows, not 100,000 small ones to make and free again.
    width_ = sqlite3_column_count(stmt_);
    int rc;
    while ((rc = sqlite3_step(stmt_)) == SQLITE_ROW) {
        for (int i = 0; i < width_; ++i) cells_.push_back(columnValue(i));
        ++rowCount_;
    }
    if (rc != SQLITE_DONE) {
        connection.setError(QString::fromUtf8(sqlite3_errmsg(connection.handle_)));
        Close();
        return false;
    }
    sqlite3_finalize(stmt_);
    stmt_ = nullptr;
    open_ = true;
    current_ = 0;
    eof_ = rowCount_ == 0;
    return true;
}

bool Recordset::loadTableColumns()
{
    sqlite3_stmt* info = nullptr;
    const QByteArray sql = QStringLiteral("PRAGMA table_info(%1)").arg(table_).toUtf8();
    if (sqlite3_prepare_v2(connection_->handle_, sql.constData(), -1, &info, nullptr) != SQLITE_OK)
        return false;
    while (sqlite3_step(info) == SQLITE_ROW) {
        const QString name = QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(info, 1)));
        const QString type = QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(info, 2)));
        numberColumns_.insert(name.toLower(), type.contains(QLatin1String("INT"), Qt::CaseInsensitive));
    }
    sqlite3_finalize(info);
    return !numberColumns_.isEmpty();
}

QVariant Recordset::columnValue(int index) const
{
    switch (sqlite3_column_type(stmt_, index)) {
        case SQLITE_NULL:
            return QVariant();
        case SQLITE_INTEGER:
            return QVariant(qint64(sqlite3_column_int64(stmt_, index)));
        case SQLITE_FLOAT:
            return QVariant(sqlite3_column_double(stmt_, index));
        case SQLITE_BLOB:
            return QByteArray(static_cast<const char*>(sqlite3_column_blob(stmt_, index)),
                              sqlite3_column_bytes(stmt_, index));
        default:
            return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(stmt_, index)),
                                     sqlite3_column_bytes(stmt_, index));
    }
}

bool Recordset::stepForward()
{
    return stmt_ && sqlite3_step(stmt_) == SQLITE_ROW;
}

bool Recordset::Eof() const
{
    return !open_ || eof_;
}

void Recordset::MoveNext()
{
    if (!open_ || eof_) return;
    adding_ = false;
    buffer_.clear();
    dirty_.clear();
    if (keyset_ || serverRows_) {
        ++current_;
        eof_ = current_ >= rowCount_;
    } else {
        eof_ = !stepForward();
    }
}

int Recordset::RecordCount() const
{
    if (!open_) return -1;
    return keyset_ ? rowCount_ : -1;
}

int Recordset::indexOf(const QString& name) const
{
    return nameIndex_.value(name.toLower(), -1);
}

QVariant Recordset::Field(int index) const
{
    if (!open_ || index < 0 || index >= names_.size()) return QVariant();
    if (!buffer_.empty() && index < int(buffer_.size())) return buffer_[index];
    if (eof_) return QVariant();
    if (keyset_ || serverRows_) {
        return index < width_ ? cells_[size_t(current_) * width_ + index] : QVariant();
    }
    return columnValue(index);
}

QVariant Recordset::Field(const QString& name) const
{
    return Field(indexOf(name));
}

bool Recordset::AddNew()
{
    if (!open_ || !updatable_) return false;
    adding_ = true;
    const int count = names_.size() + (rowidColumn_ >= 0 ? 1 : 0);
    buffer_.assign(count, QVariant());
    dirty_.assign(count, false);
    return true;
}

bool Recordset::SetField(const QString& name, const QVariant& value)
{
    if (!open_ || !updatable_) return false;
    const int index = indexOf(name);
    if (index < 0) return false;
    if (buffer_.empty()) {
        // Assigning to the current row starts an edit of it, as the original recordsets did.
        if (eof_) return false;
        const auto row = cells_.begin() + ptrdiff_t(current_) * width_;
        buffer_.assign(row, row + width_);
        dirty_.assign(buffer_.size(), false);
    }
    QVariant stored = value;
    if (!value.isNull() && numberColumns_.value(names_[index].toLower(), false)) {
        qint32 number = 0;
        if (!ToLong(value, &number)) return false;
        stored = QVariant(qint64(number));
    } else if (!value.isNull()) {
        stored = value.toString();
    }
    buffer_[index] = stored;
    dirty_[index] = true;
    return true;
}

bool Recordset::Update()
{
    if (!open_ || !updatable_ || buffer_.empty()) return false;
    QStringList columns;
    std::vector<QVariant> values;
    for (int i = 0; i < names_.size(); ++i) {
        if (dirty_[i]) {
            columns << names_[i];
            values.push_back(buffer_[i]);
        }
    }
    if (connection_->Server()) return updateServer(columns, values);
    QString sql;
    if (adding_) {
        if (columns.isEmpty()) {
            sql = QStringLiteral("INSERT INTO %1 DEFAULT VALUES").arg(table_);
        } else {
            QStringList marks;
            for (int i = 0; i < columns.size(); ++i) marks << QStringLiteral("?");
            sql = QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                      .arg(table_, columns.join(QStringLiteral(", ")), marks.join(QStringLiteral(", ")));
        }
    } else {
        if (columns.isEmpty()) {
            buffer_.clear();
            dirty_.clear();
            return true;
        }
        QStringList sets;
        for (const QString& c : columns) sets << c + QStringLiteral(" = ?");
        sql =
            QStringLiteral("UPDATE %1 SET %2 WHERE _rowid_ = ?").arg(table_, sets.join(QStringLiteral(", ")));
    }
    sqlite3* handle = connection_->handle_;
    sqlite3_stmt* stmt = nullptr;
    const QByteArray utf8 = sql.toUtf8();
    if (sqlite3_prepare_v2(handle, utf8.constData(), -1, &stmt, nullptr) != SQLITE_OK) {
        connection_->setError(QString::fromUtf8(sqlite3_errmsg(handle)));
        return false;
    }
    int position = 1;
    for (const QVariant& v : values) Connection::bindSqlite(stmt, position++, v);
    if (!adding_) sqlite3_bind_int64(stmt, position, buffer_[rowidColumn_].toLongLong());
    const bool ok = sqlite3_step(stmt) == SQLITE_DONE;
    if (!ok) connection_->setError(QString::fromUtf8(sqlite3_errmsg(handle)));
    sqlite3_finalize(stmt);
    if (!ok) return false;

    if (adding_) {
        // The new row joins the recordset and becomes the current one, with its assigned key.
        const qint64 rowid = sqlite3_last_insert_rowid(handle);
        buffer_[rowidColumn_] = rowid;
        sqlite3_stmt* reread = nullptr;
        const QByteArray q =
            QStringLiteral("SELECT %1 FROM %2 WHERE _rowid_ = ?").arg(selectList_, table_).toUtf8();
        if (sqlite3_prepare_v2(handle, q.constData(), -1, &reread, nullptr) == SQLITE_OK) {
            sqlite3_bind_int64(reread, 1, rowid);
            if (sqlite3_step(reread) == SQLITE_ROW) {
                for (int i = 0; i < names_.size(); ++i) {
                    const int c = sqlite3_column_type(reread, i);
                    if (c == SQLITE_INTEGER) buffer_[i] = qint64(sqlite3_column_int64(reread, i));
                }
            }
        }
        sqlite3_finalize(reread);
    }
    return keepWrittenRow();
}

bool Recordset::keepWrittenRow()
{
    // The recordset shows what was written: a new row becomes the last and current one.
    if (adding_) {
        cells_.insert(cells_.end(), buffer_.begin(), buffer_.end());
        current_ = rowCount_++;
        eof_ = false;
    } else {
        std::copy(buffer_.begin(), buffer_.end(), cells_.begin() + ptrdiff_t(current_) * width_);
    }
    adding_ = false;
    buffer_.clear();
    dirty_.clear();
    return true;
}

}  // namespace db
