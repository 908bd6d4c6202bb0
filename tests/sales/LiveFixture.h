#pragma once

// What the live board's and the wall screen's tests share: a status changed by another process.

#include "SalesFixture.h"

namespace livetest {

// Until the catalogue's own history triggers announce a change on the server, the other PC announces
// it itself, in the same transaction, as those triggers will.
constexpr bool kAnnounceByHand = true;

inline bool changeElsewhere(const testsupport::ProgramFolder& f, qint32 house, const QString& value)
{
    QString sql =
        QStringLiteral("Update t_Content Set Content = '%1' Where HouseID = %2").arg(value).arg(house);
    if (!f.ServerUri().isEmpty() && kAnnounceByHand)
        sql = QStringLiteral("BEGIN; %1; SELECT pg_notify('tavrelo_changes', '%2'); COMMIT")
                  .arg(sql)
                  .arg(house);
    return salestest::ExecElsewhere(f, sql);
}

}  // namespace livetest
