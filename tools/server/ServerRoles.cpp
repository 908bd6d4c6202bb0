#include "ServerRoles.h"

#include <initializer_list>
#include <vector>

#include "core/db/ServerAdmin.h"
#include "core/db/ServerCatalogue.h"
#include "core/db/ServerLogin.h"

namespace servertool {

namespace {

const char* const kTables[] = {"t_housetype", "t_house", "t_content", "t_image", "t_content_auto", "t_file"};
// The deals tables have rights of their own (dealGrantStatements).
const char* const kDealsTables[] = {"t_setting", "t_consultant", "t_customer", "t_deal", "t_history"};
// The functions of the deals' history and expiry (core/db/deals_postgres.sql).
const char* const kDealsFunctions[] = {"tavrelo_history()", "tavrelo_deal_notify()", "tavrelo_deal_expire()",
                                       "tavrelo_release_expired(timestamptz)"};
// Role names are at most 63 bytes; the longest suffix is "_manager".
constexpr int kLongestDatabaseName = 63 - 8;

QString kindName(LoginKind kind)
{
    switch (kind) {
        case LoginKind::Staff:
            return QStringLiteral("staff");
        case LoginKind::Viewer:
            return QStringLiteral("viewer");
        case LoginKind::Manager:
            break;
    }
    return QStringLiteral("manager");
}

Result failure(const QString& error)
{
    Result r;
    r.error = error;
    return r;
}

// Runs statements in order, stopping at the first that fails.
bool runAll(db::ServerAdmin& admin, const QStringList& statements)
{
    for (const QString& sql : statements) {
        if (!admin.Run(sql)) return false;
    }
    return true;
}

QString tableList(db::ServerAdmin& admin)
{
    QStringList names;
    for (const char* table : kTables) names << admin.Ident(QLatin1String(table));
    return names.join(QStringLiteral(", "));
}

// A group role that is missing is made; one that exists must not be a login or a superuser, or
// the catalogue's rights would go to whoever logs in as it.
bool ensureGroup(db::ServerAdmin& admin, const QString& role, QString* error)
{
    std::vector<QStringList> rows;
    if (!admin.Run(QStringLiteral("SELECT rolcanlogin OR rolsuper FROM pg_roles WHERE rolname = $1"), {role},
                   &rows)) {
        *error = admin.Error();
        return false;
    }
    if (rows.empty()) {
        if (admin.Run(QStringLiteral("CREATE ROLE %1 NOLOGIN").arg(admin.Ident(role)))) return true;
        *error = admin.Error();
        return false;
    }
    if (rows.front().value(0) == QLatin1String("t")) {
        *error = QStringLiteral(
                     "the role %1 already exists and can log in; it cannot be one of the "
                     "catalogue's groups")
                     .arg(role);
        return false;
    }
    return true;
}

QStringList ownershipStatements(db::ServerAdmin& admin, const RoleNames& roles)
{
    const QString owner = admin.Ident(roles.owner);
    QStringList sql;
    for (const char* table : kTables)
        sql << QStringLiteral("ALTER TABLE %1 OWNER TO %2").arg(admin.Ident(QLatin1String(table)), owner);
    for (const char* table : kDealsTables)
        sql << QStringLiteral("ALTER TABLE %1 OWNER TO %2").arg(admin.Ident(QLatin1String(table)), owner);
    for (const char* function : kDealsFunctions)
        sql << QStringLiteral("ALTER FUNCTION %1 OWNER TO %2").arg(QLatin1String(function), owner);
    sql << QStringLiteral("ALTER FUNCTION sgn(numeric) OWNER TO %1").arg(owner)
        << QStringLiteral("ALTER FUNCTION sgn(double precision) OWNER TO %1").arg(owner)
        << QStringLiteral("ALTER FUNCTION tavrelo_keys_grow() OWNER TO %1").arg(owner)
        << QStringLiteral("ALTER COLLATION tavrelo_ci OWNER TO %1").arg(owner)
        << QString::fromUtf8(db::kKeysGrowFunction) << QString::fromUtf8(db::kKeysGrowRevoke);
    return sql;
}

QStringList grantStatements(db::ServerAdmin& admin, const RoleNames& roles, const QString& database,
                            const QString& schema)
{
    const QString owner = admin.Ident(roles.owner);
    const QString staff = admin.Ident(roles.staff);
    const QString viewer = admin.Ident(roles.viewer);
    const QString tables = tableList(admin);
    const QString s = admin.Ident(schema);
    QStringList sql;
    sql << QStringLiteral("REVOKE ALL ON %1 FROM PUBLIC").arg(tables)
        // Logins of other catalogues on the same server do not even connect to this one.
        << QStringLiteral("REVOKE CONNECT ON DATABASE %1 FROM PUBLIC").arg(admin.Ident(database))
        << QStringLiteral("GRANT CONNECT ON DATABASE %1 TO %2, %3, %4")
               .arg(admin.Ident(database), owner, staff, viewer)
        << QStringLiteral("GRANT USAGE ON SCHEMA %1 TO %2, %3").arg(s, staff, viewer)
        << QStringLiteral("GRANT SELECT, INSERT, UPDATE, DELETE ON %1 TO %2").arg(tables, staff)
        << QStringLiteral("GRANT SELECT ON %1 TO %2").arg(tables, viewer);
    // New keys come from the counters (nextval); moving one (setval) needs UPDATE, which nobody gets:
    // the key trigger does that with the owner's rights.
    for (const char* table : kTables) {
        if (qstrcmp(table, "t_file") == 0) continue;
        const QString seq = admin.Value(
            QStringLiteral("SELECT s.oid::regclass::text FROM pg_class s JOIN pg_depend d ON d.objid = s.oid "
                           "WHERE s.relkind = 'S' AND d.refobjid = $1::regclass AND d.deptype IN ('a', 'i')"),
            {QLatin1String(table)});
        if (seq.isEmpty()) continue;
        sql << QStringLiteral("GRANT USAGE, SELECT ON SEQUENCE %1 TO %2").arg(seq, staff)
            << QStringLiteral("GRANT SELECT ON SEQUENCE %1 TO %2").arg(seq, viewer);
    }
    // Tables and counters a later upgrade makes get the same rights.
    const QString defaults =
        QStringLiteral("ALTER DEFAULT PRIVILEGES FOR ROLE %1 IN SCHEMA %2 ").arg(owner, s);
    sql << defaults + QStringLiteral("GRANT SELECT, INSERT, UPDATE, DELETE ON TABLES TO %1").arg(staff)
        << defaults + QStringLiteral("GRANT SELECT ON TABLES TO %1").arg(viewer)
        << defaults + QStringLiteral("GRANT USAGE, SELECT ON SEQUENCES TO %1").arg(staff)
        << defaults + QStringLiteral("GRANT SELECT ON SEQUENCES TO %1").arg(viewer);
    return sql;
}

// The deals tables: a showroom reads the deals, their history, the settings and the consultants but
// never a customer; staff add and change customers, deals and consultants and read the history,
// which only the owner's triggers write (no login may change or delete a history row, nor empty the
// table); a manager may also change the settings. The expiry release runs with the owner's rights
// and every login may call it.
QStringList dealGrantStatements(db::ServerAdmin& admin, const RoleNames& roles)
{
    const QString staff = admin.Ident(roles.staff);
    const QString viewer = admin.Ident(roles.viewer);
    const QString manager = admin.Ident(roles.manager);
    const auto names = [&](std::initializer_list<const char*> tables) {
        QStringList list;
        for (const char* table : tables) list << admin.Ident(QLatin1String(table));
        return list.join(QStringLiteral(", "));
    };
    QStringList all;
    for (const char* table : kDealsTables) all << admin.Ident(QLatin1String(table));
    QStringList sql;
    sql << QStringLiteral("REVOKE ALL ON %1 FROM PUBLIC, %2, %3, %4")
               .arg(all.join(QStringLiteral(", ")), staff, viewer, manager)
        << QStringLiteral("GRANT SELECT ON %1 TO %2")
               .arg(names({"t_setting", "t_consultant", "t_deal", "t_history"}), viewer)
        << QStringLiteral("GRANT SELECT ON %1 TO %2").arg(names({"t_setting", "t_history"}), staff)
        << QStringLiteral("GRANT SELECT, INSERT, UPDATE ON %1 TO %2")
               .arg(names({"t_customer", "t_deal", "t_consultant"}), staff)
        << QStringLiteral("GRANT INSERT, UPDATE, DELETE ON %1 TO %2").arg(names({"t_setting"}), manager)
        << QStringLiteral("GRANT EXECUTE ON FUNCTION tavrelo_release_expired(timestamptz) TO %1, %2")
               .arg(staff, viewer);
    for (const char* table : kDealsTables) {
        const QString seq = admin.Value(
            QStringLiteral("SELECT s.oid::regclass::text FROM pg_class s JOIN pg_depend d ON d.objid = s.oid "
                           "WHERE s.relkind = 'S' AND d.refobjid = $1::regclass AND d.deptype IN ('a', 'i')"),
            {QLatin1String(table)});
        if (seq.isEmpty()) continue;
        sql << QStringLiteral("REVOKE ALL ON SEQUENCE %1 FROM PUBLIC, %2, %3").arg(seq, staff, viewer);
        // New history rows take their keys with the owner's rights, inside the trigger.
        if (qstrcmp(table, "t_history") != 0)
            sql << QStringLiteral("GRANT USAGE, SELECT ON SEQUENCE %1 TO %2").arg(seq, staff);
    }
    return sql;
}

// The database's own role names, or an error when the database name is too long for them.
bool rolesOf(db::ServerAdmin& admin, RoleNames* roles, QString* database, QString* error)
{
    *database = admin.Value(QStringLiteral("SELECT current_database()"));
    if (database->isEmpty()) {
        *error = admin.Error();
        return false;
    }
    if (database->toUtf8().size() > kLongestDatabaseName) {
        *error = QStringLiteral("the database name %1 is longer than %2 bytes; its role names would not fit")
                     .arg(*database)
                     .arg(kLongestDatabaseName);
        return false;
    }
    *roles = RolesFor(*database);
    return true;
}

}  // namespace

RoleNames RolesFor(const QString& database)
{
    return {database + QStringLiteral("_owner"), database + QStringLiteral("_staff"),
            database + QStringLiteral("_viewer"), database + QStringLiteral("_manager")};
}

bool RolesInPlace(const QString& uri, QString* error)
{
    error->clear();
    db::ServerAdmin admin(uri);
    if (!admin.Connected()) {
        *error = admin.Error();
        return false;
    }
    RoleNames roles;
    QString database;
    if (!rolesOf(admin, &roles, &database, error)) return false;
    std::vector<QStringList> rows;
    if (!admin.Run(QStringLiteral(
                       "SELECT count(*) FROM pg_class c JOIN pg_roles r ON r.oid = c.relowner "
                       "WHERE c.relname = 't_house' AND c.relnamespace = to_regnamespace(current_schema()) "
                       "AND r.rolname = $1"),
                   {roles.owner}, &rows)) {
        *error = admin.Error();
        return false;
    }
    return !rows.empty() && rows.front().value(0) == QLatin1String("1");
}

Result SetUpRoles(const QString& uri)
{
    db::ServerAdmin admin(uri);
    if (!admin.Connected()) return failure(admin.Error());
    RoleNames roles;
    QString database, error;
    if (!rolesOf(admin, &roles, &database, &error)) return failure(error);
    const QString schema = admin.Value(QStringLiteral("SELECT current_schema()"));
    const bool superuser =
        admin.Value(QStringLiteral("SELECT rolsuper FROM pg_roles WHERE rolname = current_user")) ==
        QLatin1String("t");
    const auto fail = [&](const QString& what) {
        const QString reason = what.isEmpty() ? admin.Error() : what;
        admin.Run(QStringLiteral("ROLLBACK"));
        return failure(
            QStringLiteral("cannot set up the catalogue's roles: %1 (nothing was changed)").arg(reason));
    };
    if (!admin.Run(QStringLiteral("BEGIN")) ||
        !admin.Run(QStringLiteral("SET LOCAL client_min_messages = warning")))
        return fail(QString());
    for (const QString& role : {roles.owner, roles.staff, roles.viewer, roles.manager}) {
        if (!ensureGroup(admin, role, &error)) return fail(error);
    }
    // A manager is staff with a few rights more.
    if (!admin.Run(
            QStringLiteral("GRANT %1 TO %2").arg(admin.Ident(roles.staff), admin.Ident(roles.manager))))
        return fail(QString());
    // The administrator who runs init keeps the owner's rights, for upload and upgrades.
    if (!superuser && !admin.Run(QStringLiteral("GRANT %1 TO CURRENT_USER").arg(admin.Ident(roles.owner))))
        return fail(QString());
    // On a catalogue an earlier version made, the PCs logged in as the role that owned the tables;
    // it keeps reading and writing rows as staff until each PC has a login of its own.
    const QString previous = admin.Value(
        QStringLiteral(
            "SELECT r.rolname FROM pg_class c JOIN pg_roles r ON r.oid = c.relowner WHERE c.relname = "
            "'t_house' AND c.relnamespace = to_regnamespace(current_schema()) AND NOT r.rolsuper AND "
            "r.rolname NOT IN (current_user, $1)"),
        {roles.owner});
    if (!previous.isEmpty() &&
        !admin.Run(QStringLiteral("GRANT %1 TO %2").arg(admin.Ident(roles.staff), admin.Ident(previous))))
        return fail(QString());
    if (!runAll(admin, ownershipStatements(admin, roles))) return fail(QString());
    if (!runAll(admin, grantStatements(admin, roles, database, schema))) return fail(QString());
    if (!runAll(admin, dealGrantStatements(admin, roles))) return fail(QString());
    // Whoever owns the schema may drop any table in it: by default that is the database's owner,
    // often the login the PCs used before there were roles. Servers before version 15 also let
    // every role create tables in the public schema.
    admin.Run(QStringLiteral("SAVEPOINT schema_rights"));
    if (!admin.Run(QStringLiteral("ALTER SCHEMA %1 OWNER TO %2")
                       .arg(admin.Ident(schema), admin.Ident(roles.owner))) ||
        !admin.Run(QStringLiteral("REVOKE CREATE ON SCHEMA %1 FROM PUBLIC").arg(admin.Ident(schema))))
        admin.Run(QStringLiteral("ROLLBACK TO SAVEPOINT schema_rights"));
    if (!admin.Run(QStringLiteral("COMMIT"))) return fail(QString());
    Result r;
    r.ok = true;
    r.report << QStringLiteral("%1 owns the tables (used by init and upload; nobody logs in as it).")
                    .arg(roles.owner)
             << QStringLiteral("%1 reads and writes catalogue rows (office PCs).").arg(roles.staff)
             << QStringLiteral("%1 only reads (showroom PCs).").arg(roles.viewer)
             << QStringLiteral("%1 is staff that may also change the deals' settings.").arg(roles.manager);
    if (!previous.isEmpty())
        r.report << QStringLiteral(
                        "%1, which owned the tables, keeps only the rights of %2; give every PC a "
                        "login of its own and stop using %1 on the PCs.")
                        .arg(previous, roles.staff);
    r.report << QStringLiteral(
        "Make the PCs' logins with: tavrelo-server user add NAME --role staff|viewer|manager URI");
    return r;
}

Result AddUser(const QString& uri, const QString& name, LoginKind kind, const QString& password)
{
    if (name.isEmpty() || name.toUtf8().size() > 63 || name.contains(QChar(0)))
        return failure(QStringLiteral("a login name has 1 to 63 bytes"));
    if (name.startsWith(QLatin1String("pg_"), Qt::CaseInsensitive))
        return failure(QStringLiteral("names beginning with pg_ belong to the server"));
    if (password.isEmpty()) return failure(QStringLiteral("the password is empty; nothing was made"));
    db::ServerAdmin admin(uri);
    if (!admin.Connected()) return failure(admin.Error());
    RoleNames roles;
    QString database, error;
    if (!rolesOf(admin, &roles, &database, &error)) return failure(error);
    const QString group = kind == LoginKind::Staff    ? roles.staff
                          : kind == LoginKind::Viewer ? roles.viewer
                                                      : roles.manager;
    if (admin.Value(QStringLiteral("SELECT count(*) FROM pg_roles WHERE rolname = $1"), {group}) !=
        QLatin1String("1"))
        return failure(
            QStringLiteral("the catalogue has no role %1 yet; run tavrelo-server init first").arg(group));
    if (admin.Value(QStringLiteral("SELECT count(*) FROM pg_roles WHERE rolname = $1"), {name}) !=
        QLatin1String("0"))
        return failure(QStringLiteral("a role named %1 already exists on this server").arg(name));
    const QString secret = admin.ScramVerifier(name, password);
    if (secret.isEmpty()) return failure(admin.Error());
    if (!admin.Run(QStringLiteral("CREATE ROLE %1 LOGIN NOSUPERUSER NOCREATEDB NOCREATEROLE NOREPLICATION "
                                  "NOBYPASSRLS INHERIT PASSWORD %2 IN ROLE %3")
                       .arg(admin.Ident(name), admin.Literal(secret), admin.Ident(group))))
        return failure(admin.Error());
    Result r;
    r.ok = true;
    r.report
        << QStringLiteral("Made the login %1 (%2) for the catalogue %3.").arg(name, kindName(kind), database);
    return r;
}

Result RemoveUser(const QString& uri, const QString& name)
{
    db::ServerAdmin admin(uri);
    if (!admin.Connected()) return failure(admin.Error());
    RoleNames roles;
    QString database, error;
    if (!rolesOf(admin, &roles, &database, &error)) return failure(error);
    std::vector<QStringList> groups;
    if (!admin.Run(
            QStringLiteral("SELECT g.rolname FROM pg_auth_members m JOIN pg_roles g ON g.oid = m.roleid "
                           "JOIN pg_roles r ON r.oid = m.member WHERE r.rolname = $1"),
            {name}, &groups))
        return failure(admin.Error());
    QStringList ours, others;
    for (const QStringList& g : groups)
        (g.value(0) == roles.staff || g.value(0) == roles.viewer || g.value(0) == roles.manager ? ours
                                                                                                : others)
            << g.value(0);
    if (ours.isEmpty())
        return failure(QStringLiteral("%1 is not a login of the catalogue %2").arg(name, database));
    QStringList sql{QStringLiteral("BEGIN")};
    for (const QString& g : ours)
        sql << QStringLiteral("REVOKE %1 FROM %2").arg(admin.Ident(g), admin.Ident(name));
    // A login that other catalogues on this server still use stays for them.
    if (others.isEmpty()) sql << QStringLiteral("DROP ROLE %1").arg(admin.Ident(name));
    sql << QStringLiteral("COMMIT");
    if (!runAll(admin, sql)) {
        const QString reason = admin.Error();
        admin.Run(QStringLiteral("ROLLBACK"));
        return failure(reason + QStringLiteral(" (nothing was changed)"));
    }
    Result r;
    r.ok = true;
    r.report << (others.isEmpty() ? QStringLiteral("Removed the login %1.").arg(name)
                                  : QStringLiteral("%1 is no longer a login of %2; it stays for %3.")
                                        .arg(name, database, others.join(QStringLiteral(", "))));
    return r;
}

Result ListUsers(const QString& uri)
{
    db::ServerAdmin admin(uri);
    if (!admin.Connected()) return failure(admin.Error());
    RoleNames roles;
    QString database, error;
    if (!rolesOf(admin, &roles, &database, &error)) return failure(error);
    std::vector<QStringList> rows;
    if (!admin.Run(
            QStringLiteral("SELECT r.rolname, CASE g.rolname WHEN $1 THEN 'staff' WHEN $2 THEN 'viewer' "
                           "ELSE 'manager' END "
                           "FROM pg_auth_members m JOIN pg_roles g ON g.oid = m.roleid "
                           "JOIN pg_roles r ON r.oid = m.member "
                           "WHERE g.rolname IN ($1, $2, $3) AND r.rolcanlogin ORDER BY 1, 2"),
            {roles.staff, roles.viewer, roles.manager}, &rows))
        return failure(admin.Error());
    Result r;
    r.ok = true;
    for (const QStringList& row : rows)
        r.report << QStringLiteral("%1 %2").arg(row.value(0), -20).arg(row.value(1));
    return r;
}

}  // namespace servertool
