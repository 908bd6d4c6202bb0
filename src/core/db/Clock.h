#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

namespace db {

// The program's notion of now, in UTC: holds, their expiry and House.db's history use it. When
// the environment names TAVRELO_TEST_NOW (an ISO date and time, taken as UTC), that moment stands
// in for now, so that tests can move time; real use never sets it.
QDateTime Now();

// A moment as the deals tables keep it on House.db: 'YYYY-MM-DD HH:MM:SS' in UTC. Bound as a
// value it also fits the server's timestamptz columns (core/db/PgSession.cpp sends such text with
// no type of its own, so the server reads it as the column's type).
QString TimeText(const QDateTime& moment);

// A moment read back from either store: House.db's text, or the server's timestamptz as text
// ('YYYY-MM-DD HH:MM:SS[.ffffff]+00'). Invalid when the value is NULL or not a moment.
QDateTime ParseTime(const QVariant& value);

// True for text that is exactly a moment as TimeText writes it.
bool IsTimeText(const QString& text);

}  // namespace db
