#include "core/db/DialectPostgres.h"

#include <QRegularExpression>

#include "core/db/Dialect.h"
#include "core/db/ServerCatalogue.h"
#include "core/db/schema_sql.h"

namespace db {

namespace {

// The keys, and TypeID, which the statements order by only where a join has already left out every
// row without one: no NULL to place, so no NULLS clause, and the key indexes keep serving the order.
bool neverNullInOrder(QString column)
{
    column = column.section(QLatin1Char('.'), -1).section(QLatin1Char(' '), 0, 0).toLower();
    return column == QLatin1String("houseid") || column == QLatin1String("typeid") ||
           column == QLatin1String("contentid") || column == QLatin1String("imageid") ||
           column == QLatin1String("historyid") || column == QLatin1String("dealid");
}

// Jet and SQLite put NULL before every value in an ascending order and after them in a descending
// one; PostgreSQL does the opposite unless told.
QString nullsLikeJet(const QString& orderList)
{
    static const QRegularExpression desc(QStringLiteral(R"(\s+DESC\s*$)"),
                                         QRegularExpression::CaseInsensitiveOption);
    QStringList items = orderList.split(QLatin1Char(','));
    for (QString& item : items) {
        const QString trimmed = item.trimmed();
        if (trimmed.isEmpty() || neverNullInOrder(trimmed)) {
            item = trimmed;
            continue;
        }
        item = trimmed + (desc.match(trimmed).hasMatch() ? QStringLiteral(" NULLS LAST")
                                                         : QStringLiteral(" NULLS FIRST"));
    }
    return items.join(QStringLiteral(", "));
}

// "Select Distinct c From t Order By c", the drop-down lists of the windows: read as a walk from
// one distinct value to the next through the column's index, a few hundred index probes instead
// of reading every row of a large table. NULL, when present, comes first as it would in the list.
QString distinctColumn(const QString& sql)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"(^\s*Select\s+Distinct\s+(\w+)\s+From\s+(\w+)\s+Order\s+By\s+(\w+)\s*$)"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch m = pattern.match(sql);
    if (!m.hasMatch() || m.captured(1).compare(m.captured(3), Qt::CaseInsensitive) != 0) return QString();
    const QString c = m.captured(1), t = m.captured(2);
    return QStringLiteral(
               "WITH RECURSIVE tavrelo_d(v) AS (SELECT min(%1) FROM %2 UNION ALL "
               "SELECT (SELECT min(%1) FROM %2 WHERE %1 > tavrelo_d.v) FROM tavrelo_d "
               "WHERE tavrelo_d.v IS NOT NULL) "
               "SELECT v AS %1 FROM tavrelo_d WHERE v IS NOT NULL "
               "UNION ALL SELECT NULL WHERE EXISTS (SELECT 1 FROM %2 WHERE %1 IS NULL) "
               "ORDER BY 1 NULLS FIRST")
        .arg(c, t);
}

}  // namespace

QString toPostgres(const QString& jetSql)
{
    const QString walk = distinctColumn(jetSql);
    if (!walk.isEmpty()) return walk;
    QString sql = topToLimit(jetSql);

    static const QRegularExpression between(QStringLiteral(R"(\bBetween\s+(?!Symmetric\b))"),
                                            QRegularExpression::CaseInsensitiveOption);
    sql.replace(between, QStringLiteral("Between Symmetric "));

    // The left side of Like is a column in every statement the program builds; the pattern is a
    // quoted text the program wrote or the placeholder of a bound one ($1). A pattern broken by an
    // apostrophe is left alone and makes only this statement fail, as it always has.
    static const QRegularExpression like(QStringLiteral(R"(([\w.]+)\s+Like\s+('(?:[^']|'')*'(?!')|\$\d+\b))"),
                                         QRegularExpression::CaseInsensitiveOption);
    sql.replace(like, QStringLiteral(
                          R"(lower(\1 COLLATE "und-x-icu") LIKE lower(\2 COLLATE "und-x-icu") ESCAPE '')"));

    // The order list runs to the end of the statement (or to the LIMIT that Top became).
    static const QRegularExpression orderBy(
        QStringLiteral(R"(\bOrder\s+By\s+(.*?)(\s+LIMIT\s+\d+)?\s*$)"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch o = orderBy.match(sql);
    if (o.hasMatch() && !o.captured(1).contains(QLatin1Char('\'')) &&
        !o.captured(1).contains(QLatin1Char('(')))
        sql = sql.left(o.capturedStart(1)) + nullsLikeJet(o.captured(1)) + o.captured(2);
    return sql;
}

namespace {

// SQLite's schema text rendered for the server: the tables, their indexes, and a key trigger for
// every table whose key is a counter.
QString renderTables(QString sql)
{
    // Comments and the SQLite version mark have no place on the server.
    sql.remove(QRegularExpression(QStringLiteral("--[^\n]*")));
    sql.remove(QRegularExpression(QStringLiteral(R"(PRAGMA\s+user_version\s*=\s*\d+\s*;)"),
                                  QRegularExpression::CaseInsensitiveOption));
    // Identity keys come from a sequence, which never hands out a number twice.
    static const QRegularExpression counter(QStringLiteral(R"(INTEGER\s+PRIMARY\s+KEY\s+AUTOINCREMENT)"),
                                            QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression table(QStringLiteral(R"(CREATE\s+TABLE\s+(\w+)\s*\(\s*(\w+)\s+([^,]*))"),
                                          QRegularExpression::CaseInsensitiveOption);
    QString after;
    for (auto it = table.globalMatch(sql); it.hasNext();) {
        const QRegularExpressionMatch t = it.next();
        if (!counter.match(t.captured(3)).hasMatch()) continue;
        after += QStringLiteral(
                     "CREATE TRIGGER %1_keys_grow AFTER INSERT ON %1 FOR EACH ROW EXECUTE FUNCTION "
                     "tavrelo_keys_grow('%2');\n")
                     .arg(t.captured(1), t.captured(2).toLower());
    }
    sql.replace(counter, QStringLiteral("INTEGER GENERATED BY DEFAULT AS IDENTITY PRIMARY KEY"));
    // Whatever case-insensitive collation the SQLite side names, the server's is the ICU one.
    sql.replace(
        QRegularExpression(QStringLiteral(R"(\bCOLLATE\s+\w+)"), QRegularExpression::CaseInsensitiveOption),
        QStringLiteral("COLLATE tavrelo_ci"));
    // A moment is text in UTC on SQLite and a timestamptz on the server.
    sql.replace(QRegularExpression(QStringLiteral(R"(\bUTC_TEXT\b)")), QStringLiteral("timestamptz"));

    // Indexes hold NULL first, as the statements order it, so that they still serve Order By.
    static const QRegularExpression index(
        QStringLiteral(R"((CREATE\s+INDEX\s+\w+\s+ON\s+\w+\s*)\(([^)]*)\))"),
        QRegularExpression::CaseInsensitiveOption);
    QString indexed;
    int done = 0;
    for (auto it = index.globalMatch(sql); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        QStringList columns = m.captured(2).split(QLatin1Char(','));
        for (QString& c : columns) {
            c = c.trimmed();
            if (!neverNullInOrder(c)) c += QStringLiteral(" NULLS FIRST");
        }
        indexed += sql.mid(done, m.capturedStart(0) - done) + m.captured(1) + QLatin1Char('(') +
                   columns.join(QStringLiteral(", ")) + QLatin1Char(')');
        done = int(m.capturedEnd(0));
    }
    return indexed + sql.mid(done) + after;
}

// The functions that hold the deals' history and expiry keep the search path of the moment they are
// made (SET search_path FROM CURRENT): the catalogue's schema, then pg_temp, nothing else.
QString dealsFunctions()
{
    return QStringLiteral(
               "SELECT set_config('search_path', quote_ident(current_schema()) || ', pg_temp', true);\n") +
           QString::fromUtf8(kDealsPostgresSql);
}

}  // namespace

QString PostgresSchema()
{
    const QString before = QStringLiteral(R"(
-- Text compares, sorts and de-duplicates without regard to case, for all of Unicode.
CREATE COLLATION tavrelo_ci (provider = icu, locale = 'und-u-ks-level2', deterministic = false);

-- Access's Sgn: -1, 0 or 1 by the sign of a number.
CREATE FUNCTION Sgn(numeric) RETURNS integer LANGUAGE sql IMMUTABLE AS 'SELECT sign($1)::integer';
CREATE FUNCTION Sgn(double precision) RETURNS integer LANGUAGE sql IMMUTABLE AS 'SELECT sign($1)::integer';
)") + QString::fromUtf8(kKeysGrowFunction) +
                           QStringLiteral(";\n") + QString::fromUtf8(kKeysGrowRevoke) + QStringLiteral(";\n");
    // Pictures and tunes live on the server too; each PC keeps its Images and Music as a cache.
    const QString files = QStringLiteral(R"(
CREATE TABLE t_File (
    Folder  TEXT NOT NULL,
    Name    TEXT NOT NULL,
    Content BYTEA NOT NULL,
    PRIMARY KEY (Folder, Name)
);
)");
    return before + renderTables(QString::fromUtf8(kSchemaSql) + QString::fromUtf8(kDealsSql)) + files +
           dealsFunctions();
}

QString PostgresDealsSchema()
{
    return renderTables(QString::fromUtf8(kDealsSql)) + dealsFunctions();
}

}  // namespace db
