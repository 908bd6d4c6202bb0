#include "Records.h"

#include "core/db/Connection.h"
#include "core/db/Recordset.h"

namespace testsupport {

QStringList QueryColumn(db::Connection& connection, const QString& sql, const QString& field)
{
    QStringList values;
    db::Recordset rs;
    if (!connection.Execute(sql, rs)) return {QStringLiteral("<failed>")};
    while (!rs.Eof()) {
        values << (field.isEmpty() ? rs.Field(0) : rs.Field(field)).toString();
        rs.MoveNext();
    }
    return values;
}

QStringList QueryColumn(db::Connection& connection, const QString& sql)
{
    return QueryColumn(connection, sql, QString());
}

}  // namespace testsupport
