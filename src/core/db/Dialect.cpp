#include "core/db/Dialect.h"

#include <QRegularExpression>

namespace db {

QString topToLimit(const QString& jetSql)
{
    static const QRegularExpression top(QStringLiteral(R"(^(\s*Select\s+(?:Distinct\s+)?)Top\s+(\d+)\s+)"),
                                        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch m = top.match(jetSql);
    if (!m.hasMatch()) return jetSql;
    const QString sql = m.captured(1) + jetSql.mid(m.capturedEnd(0));
    return sql.trimmed() + QStringLiteral(" LIMIT ") + m.captured(2);
}

QString toSqlite(const QString& jetSql)
{
    QString sql = topToLimit(jetSql);

    // Between's bounds are single operands in every statement the program builds (numbers or
    // column names), so a plain token match is enough; min/max make the bound order irrelevant.
    static const QRegularExpression between(QStringLiteral(R"(\bBetween\s+([^\s]+)\s+And\s+([^\s]+))"),
                                            QRegularExpression::CaseInsensitiveOption);
    sql.replace(between, QStringLiteral("Between min(\\1, \\2) And max(\\1, \\2)"));
    return sql;
}

}  // namespace db
