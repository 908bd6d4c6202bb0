// The server side of Connection: the calls that have a store of their own on PostgreSQL.
#include "core/db/Connection.h"
#include "core/db/PgSession.h"

namespace db {

bool Connection::OpenServer(const QString& uri)
{
    Close();
    lastError_.clear();
    server_ = PgSession::Acquire(uri, &lastError_);
    return server_ != nullptr;
}

void Connection::releaseServer()
{
    PgSession::Release(std::move(server_));
}

bool Connection::InTransaction() const
{
    return server_ ? server_->InTransaction() : inTransaction_;
}

bool Connection::serverResult(bool ok)
{
    if (!ok) lastError_ = server_->LastError();
    return ok;
}

}  // namespace db
