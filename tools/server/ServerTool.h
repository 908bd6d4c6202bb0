#pragma once

#include <QString>
#include <QStringList>

// The work of tavrelo-server, as a library the tests call directly.
namespace servertool {

struct Result {
    bool ok = false;
    QString error;       // why nothing was done, in one sentence
    QStringList report;  // what was done, a line each
};

// Makes Tavrelo's tables in an empty database; on a catalogue an earlier version made, adds what it
// lacks (the roles, the deals tables).
Result Init(const QString& uri);
// Gives a catalogue made before the deals tables those tables, their functions and their rights, in
// one transaction; run by the administrator (a PC's login may not create tables).
Result Upgrade(const QString& uri);
// Copies the catalogue of a program folder (House.db with every key kept, Images and Music) to the
// server, in one transaction. A server catalogue that holds rows or files is only replaced when
// replace is set. A database without Tavrelo's tables gets them first.
Result Upload(const QString& uri, const QString& programFolder, bool replace);
// Copies the server's catalogue into a program folder that has no House.db and no pictures or tunes
// yet. On failure what was written there is removed again.
Result Download(const QString& uri, const QString& programFolder);

}  // namespace servertool
