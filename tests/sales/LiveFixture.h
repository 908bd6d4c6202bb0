#pragma once

// What the live board's and the wall screen's tests share: a status changed by another process.

#include "SalesFixture.h"

namespace livetest {

// A unit's status changed by another process, as a second PC would; on a server the catalogue's
// history trigger announces it.
inline bool changeElsewhere(const testsupport::ProgramFolder& f, qint32 house, const QString& value)
{
    return salestest::ExecElsewhere(
        f, QStringLiteral("Update t_Content Set Content = '%1' Where HouseID = %2").arg(value).arg(house));
}

}  // namespace livetest
