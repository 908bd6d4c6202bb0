#pragma once

#include <QString>
#include <QVariant>

// How the deals' times and codes read on screen and in the exported history.
namespace deals {

// A stored time (UTC text 'YYYY-MM-DD HH:MM:SS' on House.db, the server's timestamp text on a
// shared catalogue) as local time "YYYY-MM-DD HH:MM"; empty for none; the text itself when it is
// not a time.
QString LocalTimeText(const QVariant& stored);
// The Chinese name of a deal stage code (hold → 预留 …); the code itself when unknown.
QString StageLabel(const QString& stage);

}  // namespace deals

namespace deals {
// The Chinese label of a history path code (board → 销控表 …).
QString PathLabel(const QString& code);
}  // namespace deals
