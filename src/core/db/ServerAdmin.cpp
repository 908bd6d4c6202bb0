#include "core/db/ServerAdmin.h"

#include <libpq-fe.h>

#include "core/db/ServerLogin.h"

namespace db {

ServerAdmin::ServerAdmin(const QString& uri) : conn_(ConnectServer(uri, &error_)) {}

ServerAdmin::~ServerAdmin()
{
    if (conn_) PQfinish(conn_);
}

bool ServerAdmin::Run(const QString& sql, const QStringList& values, std::vector<QStringList>* rows)
{
    std::vector<QByteArray> text;
    std::vector<const char*> pointers;
    for (const QString& v : values) text.push_back(v.toUtf8());
    for (const QByteArray& t : text) pointers.push_back(t.constData());
    // Always the one-statement protocol: a name that reaches a statement is quoted by libpq
    // (Ident, Literal), and even so no text can ever start a second statement.
    PGresult* result = PQexecParams(conn_, sql.toUtf8().constData(), int(pointers.size()), nullptr,
                                    pointers.empty() ? nullptr : pointers.data(), nullptr, nullptr, 0);
    const ExecStatusType status = PQresultStatus(result);
    const bool ok = status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
    if (!ok) error_ = QString::fromUtf8(PQresultErrorMessage(result)).trimmed();
    if (ok && rows) {
        rows->clear();
        for (int r = 0; r < PQntuples(result); ++r) {
            QStringList row;
            for (int c = 0; c < PQnfields(result); ++c) row << QString::fromUtf8(PQgetvalue(result, r, c));
            rows->push_back(row);
        }
    }
    PQclear(result);
    return ok;
}

QString ServerAdmin::Value(const QString& sql, const QStringList& values)
{
    std::vector<QStringList> rows;
    return Run(sql, values, &rows) && !rows.empty() ? rows.front().value(0) : QString();
}

QString ServerAdmin::Ident(const QString& name) const
{
    const QByteArray utf8 = name.toUtf8();
    char* quoted = PQescapeIdentifier(conn_, utf8.constData(), size_t(utf8.size()));
    const QString text = quoted ? QString::fromUtf8(quoted) : QString();
    PQfreemem(quoted);
    return text;
}

QString ServerAdmin::Literal(const QString& value) const
{
    const QByteArray utf8 = value.toUtf8();
    char* quoted = PQescapeLiteral(conn_, utf8.constData(), size_t(utf8.size()));
    const QString text = quoted ? QString::fromUtf8(quoted) : QString();
    PQfreemem(quoted);
    return text;
}

QString ServerAdmin::ScramVerifier(const QString& user, const QString& password)
{
    const QByteArray pw = password.toUtf8(), name = user.toUtf8();
    char* verifier = PQencryptPasswordConn(conn_, pw.constData(), name.constData(), "scram-sha-256");
    if (!verifier) {
        error_ = QString::fromUtf8(PQerrorMessage(conn_)).trimmed();
        return QString();
    }
    const QString secret = QString::fromUtf8(verifier);
    PQfreemem(verifier);
    return secret;
}

}  // namespace db
