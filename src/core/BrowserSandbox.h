#pragma once

#include <QString>

namespace browsersandbox {

// Chromium, the engine behind the picture browser, refuses to start its sandbox for the root
// user and then takes the whole process down with it. Called first in main(), before the
// QApplication exists: for an effective user id of 0 it switches the sandbox off (the engine reads
// its environment when it starts) and says so on standard error, unless whoever started us had
// switched it off already; for any other user it changes nothing, so the sandbox stays on. True
// when the sandbox is off for root.
bool PrepareForUser(const char* programName);

// The same decision for a given effective user id, writing the notice to *notice (empty when
// nothing was changed); the environment is changed only when the sandbox is switched off.
bool PrepareForUserId(unsigned effectiveUserId, const QString& programName, QString* notice);

}  // namespace browsersandbox
