#include "core/Save.h"

#include "core/ui/MsgBox.h"

namespace mdlHouse {

QString RefusedSaveMessage(const db::Connection& connection)
{
    // A server refuses a login; a House.db that cannot be written is a file matter, not a login's.
    return connection.IsServer() && connection.WriteRefused() ? kLookOnlyMessage : kNothingSavedMessage;
}

Save::Save(db::Connection& connection) : connection_(connection)
{
    if (!connection_.IsOpen()) return;
    began_ = connection_.BeginTrans();
    // A catalogue that stays locked, a server gone: the save would run statement by statement
    // and could half succeed, so it is not made at all.
    if (!began_) ui::MsgBox(kNothingSavedMessage);
}

Save::~Save()
{
    if (began_) connection_.RollbackTrans();
}

void Save::Fail()
{
    if (!began_) return;
    connection_.RollbackTrans();
    began_ = false;
    ui::MsgBox(RefusedSaveMessage(connection_));
}

int Save::Require(const QString& table, const QString& keyColumn, qint64 key, db::Connection::RowLock lock,
                  const QString& goneMessage)
{
    if (!began_) return -1;
    const int found = connection_.LockRow(table, keyColumn, key, lock);
    if (found == 0)
        Abort(goneMessage);
    else if (found < 0)
        Fail();
    return found;
}

bool Save::Serialize(int kind)
{
    if (!began_) return false;
    if (connection_.LockChange(kind)) return true;
    Fail();
    return false;
}

bool Save::Finish()
{
    if (!began_) return false;
    // A refused statement was skipped like any failed one, but a save that lost one of its writes
    // to a store that may not be written is not a save: it is rolled back whole.
    if (connection_.WriteRefused() || !connection_.InTransaction()) {
        Fail();
        return false;
    }
    began_ = false;
    if (connection_.CommitTrans()) return true;
    ui::MsgBox(RefusedSaveMessage(connection_));
    return false;
}

void Save::Abort(const QString& message)
{
    if (began_) connection_.RollbackTrans();
    began_ = false;
    if (!message.isEmpty()) ui::MsgBox(message);
}

}  // namespace mdlHouse
