#include "core/db/Store.h"

#include <QSettings>

#include "core/db/Connection.h"

namespace db {

QString ServerUri(const QString& programFolder)
{
    const QString fromEnvironment = qEnvironmentVariable("TAVRELO_SERVER").trimmed();
    if (!fromEnvironment.isEmpty()) return fromEnvironment;
    const QSettings settings(programFolder + QStringLiteral("/Tavrelo.conf"), QSettings::IniFormat);
    return settings.value(QStringLiteral("catalogue/server")).toString().trimmed();
}

bool OpenCatalogue(Connection& connection, const QString& programFolder)
{
    const QString uri = ServerUri(programFolder);
    if (!uri.isEmpty()) return connection.OpenServer(uri);
    return connection.Open(programFolder + QStringLiteral("/House.db"));
}

bool IsServerUri(const QString& store)
{
    return store.startsWith(QLatin1String("postgres")) || store.contains(QLatin1Char('='));
}

}  // namespace db
