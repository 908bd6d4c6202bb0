#include "PgLogin.h"

#include <libpq-fe.h>
#include <sys/select.h>

#include <QElapsedTimer>

#include "PgCluster.h"

namespace testsupport {

PgLogin::PgLogin(const QString& database, const QString& user, const QString& password)
{
    const QByteArray port = QByteArray::number(PgCluster::Instance().Port());
    const QByteArray db = database.toUtf8(), u = user.toUtf8(), pw = password.toUtf8();
    const char* keys[] = {"host", "port", "dbname", "user", "password", nullptr};
    const char* values[] = {"127.0.0.1",   port.constData(), db.constData(),
                            u.constData(), pw.constData(),   nullptr};
    conn_ = PQconnectdbParams(keys, values, 0);
}

PgLogin::PgLogin(const QString& uri) : conn_(PQconnectdb(uri.toUtf8().constData())) {}

PgLogin::~PgLogin()
{
    PQfinish(conn_);
}

bool PgLogin::Ok() const
{
    return PQstatus(conn_) == CONNECTION_OK;
}

QString PgLogin::Error() const
{
    return QString::fromUtf8(PQerrorMessage(conn_));
}

QString PgLogin::State(const QString& sql) const
{
    PGresult* r = PQexec(conn_, sql.toUtf8().constData());
    const ExecStatusType s = PQresultStatus(r);
    const QString state = s == PGRES_COMMAND_OK || s == PGRES_TUPLES_OK
                              ? QString()
                              : QString::fromUtf8(PQresultErrorField(r, PG_DIAG_SQLSTATE));
    PQclear(r);
    return state;
}

QString PgLogin::Value(const QString& sql) const
{
    PGresult* r = PQexec(conn_, sql.toUtf8().constData());
    const QString v = PQresultStatus(r) == PGRES_TUPLES_OK && PQntuples(r) > 0
                          ? QString::fromUtf8(PQgetvalue(r, 0, 0))
                          : QStringLiteral("<error: %1>").arg(QString::fromUtf8(PQresultErrorMessage(r)));
    PQclear(r);
    return v;
}

QString PgLogin::Notification(int ms) const
{
    QElapsedTimer waited;
    waited.start();
    for (;;) {
        PQconsumeInput(conn_);
        if (PGnotify* n = PQnotifies(conn_)) {
            const QString payload =
                QString::fromUtf8(n->relname) + QLatin1Char(':') + QString::fromUtf8(n->extra);
            PQfreemem(n);
            return payload;
        }
        const qint64 left = ms - waited.elapsed();
        if (left <= 0) return QString();
        const int socket = PQsocket(conn_);
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(socket, &readable);
        timeval timeout{long(left / 1000), long((left % 1000) * 1000)};
        select(socket + 1, &readable, nullptr, nullptr, &timeout);
    }
}

}  // namespace testsupport
