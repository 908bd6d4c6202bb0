#pragma once

#include <QDateTime>

namespace db {
class Connection;
}

// The clock of holds and their expiry. A hold ends at a minute the office can see, so every hold
// start, end and release is taken from here.
namespace deals {

// The program's now, in UTC; TAVRELO_TEST_NOW replaces it when set (tests only; core/db/Clock.h).
QDateTime Now();

// The now that the deal steps and the expiry of one catalogue go by: the test clock when set; on a
// shared catalogue otherwise the server's clock, so that PCs whose clocks disagree still agree on
// when a hold ends; on House.db the program's clock.
QDateTime Now(db::Connection& connection);

}  // namespace deals
