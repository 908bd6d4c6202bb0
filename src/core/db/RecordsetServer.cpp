// The server side of Recordset. libpq hands over a statement's whole result at once, so every
// recordset from a server holds its rows the way a keyset recordset does; a forward-only one still
// reports no record count.
#include <QRegularExpression>

#include "core/db/Connection.h"
#include "core/db/DialectPostgres.h"
#include "core/db/PgSession.h"
#include "core/db/Recordset.h"

namespace db {

namespace {
const char* const kKeyName = "__tavrelo_key";
}

bool Recordset::openServer(const Sql& jetSql, Connection& connection)
{
    PgSession* server = connection.Server();
    PgRows rows;
    bool ran = false;
    if (updatable_) {
        const Sql::Bound bound = jetSql.Bind();
        if (!bound.valid) {
            connection.lastError_ = QStringLiteral("a value in the statement is not a number");
            Close();
            return false;
        }
        QString sql = toPostgres(bound.text);
        // As on SQLite, only a plain select from one table can be written back; its key rides along
        // as a hidden last column so that Update knows which row to change.
        static const QRegularExpression single(
            QStringLiteral(
                R"(^(\s*Select\s+)(\*|\w+(?:\s*,\s*\w+)*)(\s+From\s+(\w+)\s*(?:$|\s(?:Where|Order)\b.*))$)"),
            QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
        const QRegularExpressionMatch m = single.match(sql);
        const QString key = m.hasMatch() ? server->KeyColumn(m.captured(4)) : QString();
        if (!key.isEmpty()) {
            selectList_ = m.captured(2);
            table_ = m.captured(4);
            sql = m.captured(1) + selectList_ + QStringLiteral(", ") + key + QStringLiteral(" AS ") +
                  QLatin1String(kKeyName) + m.captured(3);
        } else {
            updatable_ = false;
        }
        ran = server->ExecuteBound(sql, bound.values, &rows);
    } else {
        ran = server->Execute(jetSql, &rows);
    }
    if (!ran) {
        connection.lastError_ = server->LastError();
        Close();
        return false;
    }
    for (int i = 0; i < rows.names.size(); ++i) {
        const QString& name = rows.names[i];
        if (updatable_ && name == QLatin1String(kKeyName)) {
            rowidColumn_ = i;
            continue;
        }
        names_.append(name);
        const QString lower = name.toLower();
        if (!nameIndex_.contains(lower)) nameIndex_.insert(lower, i);
        if (updatable_) numberColumns_.insert(lower, server->IsNumberColumn(table_, name));
    }
    if (updatable_ && rowidColumn_ < 0) updatable_ = false;
    width_ = int(rows.names.size());
    cells_ = std::move(rows.cells);
    rowCount_ = rows.rowCount;
    serverRows_ = true;
    open_ = true;
    current_ = 0;
    eof_ = rowCount_ == 0;
    return true;
}

bool Recordset::updateServer(const QStringList& columns, const std::vector<QVariant>& values)
{
    PgSession* server = connection_->Server();
    const QString key = server->KeyColumn(table_);
    QString sql;
    if (adding_) {
        QStringList literals;
        for (const QVariant& v : values) literals << server->Literal(v);
        sql = columns.isEmpty()
                  ? QStringLiteral("INSERT INTO %1 DEFAULT VALUES").arg(table_)
                  : QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                        .arg(table_, columns.join(QStringLiteral(", ")), literals.join(QStringLiteral(", ")));
        // The new row comes back from the insert itself, with the key the server gave it.
        sql += QStringLiteral(" RETURNING %1, %2").arg(selectList_, key);
    } else {
        if (columns.isEmpty()) {
            buffer_.clear();
            dirty_.clear();
            return true;
        }
        QStringList sets;
        for (int i = 0; i < columns.size(); ++i)
            sets << columns[i] + QStringLiteral(" = ") + server->Literal(values[i]);
        sql = QStringLiteral("UPDATE %1 SET %2 WHERE %3 = %4")
                  .arg(table_, sets.join(QStringLiteral(", ")), key,
                       QString::number(buffer_[rowidColumn_].toLongLong()));
    }
    PgRows returned;
    if (!server->ExecuteNative(sql, &returned)) {
        connection_->lastError_ = server->LastError();
        return false;
    }
    if (adding_) {
        if (returned.rowCount == 1 && int(returned.cells.size()) == width_) {
            for (int i = 0; i < width_; ++i) {
                if (i == rowidColumn_ || returned.cells[i].typeId() == QMetaType::LongLong)
                    buffer_[i] = returned.cells[i];
            }
            server->NoteInsertedKey(table_, returned.cells[rowidColumn_].toLongLong());
        }
    }
    return keepWrittenRow();
}

}  // namespace db
