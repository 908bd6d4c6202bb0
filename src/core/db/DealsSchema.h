#pragma once

#include <QString>

namespace db {

class Connection;

// Whether the open catalogue has the deals tables. A House.db always has them once opened (the
// data layer adds them); a server catalogue made before them has not until its administrator runs
// `tavrelo-server upgrade` (a PC's login may not create tables).
bool HasDealsTables(Connection& connection);

// What a deals window tells the user when the catalogue has no deals tables yet.
inline const QString kDealsTablesMissingMessage =
    QStringLiteral("共享目录还没有销售记录表，请管理员运行 tavrelo-server upgrade 后再试。");

}  // namespace db
