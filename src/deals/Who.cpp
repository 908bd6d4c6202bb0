#include "deals/Who.h"

#include <QVariant>

#include "core/db/Connection.h"
#include "core/db/Statement.h"

namespace deals {

QString CurrentLogin(db::Connection& connection)
{
    if (!connection.IsServer()) {
        QString account = qEnvironmentVariable("USER");
        if (account.isEmpty()) account = qEnvironmentVariable("LOGNAME");
        return account;
    }
    db::Statement read;
    if (read.Prepare(connection, QStringLiteral("SELECT session_user")) && read.Next())
        return read.Column(0).toString();
    return QString();
}

bool IsManager(db::Connection& connection)
{
    if (!connection.IsServer()) return connection.IsOpen();
    // The groups are named after the database (roles are shared by every database of a server). A
    // group that does not exist yet makes nobody a manager but the server's superusers.
    db::Statement read;
    if (!read.Prepare(connection,
                      QStringLiteral("SELECT EXISTS (SELECT 1 FROM pg_roles r WHERE r.rolname IN "
                                     "(current_database() || '_manager', current_database() || '_owner') "
                                     "AND pg_has_role(session_user, r.oid, 'MEMBER')) OR "
                                     "(SELECT rolsuper FROM pg_roles WHERE rolname = session_user)")) ||
        !read.Next())
        return false;
    const QVariant v = read.Column(0);
    return v.toLongLong() != 0 || v.toString() == QLatin1String("t");
}

}  // namespace deals
