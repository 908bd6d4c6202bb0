#pragma once

#include <QString>
#include <QVariant>

// How the deals' times and the history's paths read on screen and in the exported history.
namespace deals {

// A stored time (House.db's UTC text, the server's timestamptz) as local time "YYYY-MM-DD HH:MM";
// empty for none; the text itself when it is not a time.
QString LocalTimeText(const QVariant& stored);
// The label of a history path code (board → 销控表, expire → 到期释放 …); the code itself when
// unknown.
QString PathLabel(const QString& code);

}  // namespace deals
