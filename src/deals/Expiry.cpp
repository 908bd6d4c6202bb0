#include "deals/Expiry.h"

#include "core/db/Expiry.h"

namespace deals {

int ReleaseExpired(db::Connection& connection, const QDateTime& now)
{
    return db::ReleaseExpiredHolds(connection, now);
}

}  // namespace deals
