#pragma once

#include <QString>

namespace db {

class Connection;

// Copying a whole catalogue between House.db and a server (tavrelo-server upload and download):
// every table in one list, every row with its key, the key counters carried along, and the history
// copied as it stands rather than made again by the triggers. The tool that calls these knows no
// SQL of either store.

// The tables a copy carries, in order: the five catalogue tables, then the deals tables.
inline constexpr const char* kCopiedTables[] = {"t_HouseType",    "t_House",   "t_Content",    "t_Image",
                                                "t_Content_Auto", "t_Setting", "t_Consultant", "t_Customer",
                                                "t_Deal",         "t_History"};

// Rows and files the server catalogue holds in all (-1 when that cannot be read).
qint64 ServerCatalogueSize(Connection& server);

// Upload: one server transaction that holds the old catalogue or the whole new one. Begin empties
// the server catalogue first when `replace` is set, and switches the history and deal triggers off
// for this transaction: only the tables' owner may (a PC's login is refused). Finish switches them
// on again and commits; Abandon rolls everything back.
bool BeginUpload(Connection& server, bool replace, QString* error);
bool UploadTable(Connection& file, Connection& server, const QString& table, qint64* count, QString* error);
bool FinishUpload(Connection& server, QString* error);
void AbandonUpload(Connection& server);

// Download into a new House.db: a read-only snapshot of the server, and one transaction on the
// file in which the history triggers are set aside while the rows come in and put back before the
// commit. A table the server does not have yet (a catalogue made before the deals tables) stays
// empty.
bool BeginDownload(Connection& server, Connection& file, QString* error);
bool DownloadTable(Connection& server, Connection& file, const QString& table, qint64* count, QString* error);
bool FinishDownload(Connection& server, Connection& file, QString* error);

// Inside a transaction on House.db: its history triggers set aside, so that rows written now are
// taken as they are (a copy, a catalogue read from an earlier installation) and leave no history;
// and put back before the commit.
bool SetTriggersAside(Connection& file, QString* error);
bool PutTriggersBack(Connection& file, QString* error);

}  // namespace db
