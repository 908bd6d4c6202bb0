#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

namespace db {

// Whole House.db files, as the backup tool handles them: counted, checked and copied while the
// program may be saving. SQLite's own means for that (the online backup API, integrity_check)
// stay here, inside the data layer.

// Rows per table of the five tables, in the schema's order.
using TableRows = QList<QPair<QString, qint64>>;

// Counts the rows of the catalogue file, opened read-only. False, with *error, when the file
// cannot be read as a catalogue (a table missing, not a database).
bool CountFileRows(const QString& path, TableRows* tables, QString* error);

// Runs SQLite's integrity check on the file (read-only, with the program's collation, whose
// indexes it walks) and counts its rows. Lines of the check other than "ok" go to *problems.
// False, with *error, when the check or the count could not run at all.
bool CheckCatalogueFile(const QString& path, QStringList* problems, TableRows* tables, QString* error);

// The catalogue file between two saves, as the bytes of a database file: every page is copied
// in one read transaction (a save of the program waits for it, and it waits up to busyWaitMs
// while a save holds the file). *heldMs is how long the file was held; *tables counts the copy.
bool SnapshotCatalogueFile(const QString& source, int busyWaitMs, QByteArray* image, TableRows* tables,
                           qint64* heldMs, QString* error);

}  // namespace db
