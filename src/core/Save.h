#pragma once

#include <QString>

#include "core/db/Connection.h"

namespace mdlHouse {

// What a refused save tells the user; every window's save says it through Save below.
inline const QString kNothingSavedMessage = QStringLiteral("未能保存，数据没有写入。");
inline const QString kLookOnlyMessage = QStringLiteral("此登录只能查看，不能修改。");
inline const QString kHouseGoneMessage = QStringLiteral("该房源已被其他人删除，未保存。");
inline const QString kTypeGoneMessage = QStringLiteral("该房屋类型已被其他人删除，未保存。");

// One window action's save: one transaction, begun here, ended by Finish or Abort. It is the one
// place that decides whether a save counts and tells the user when it does not, so every window
// refuses in the same words: a store that cannot begin or commit the save ("nothing saved"), a
// login that may only look, a row deleted by another PC meanwhile. A connection that failed to
// open has already shown the connection message; the save then ends quietly.
// Statements that fail one by one inside a save stay as silent as they always were.
class Save {
public:
    explicit Save(db::Connection& connection);
    ~Save();
    Save(const Save&) = delete;
    Save& operator=(const Save&) = delete;

    // False when there is nothing to save into; the user has been told (or saw the connection
    // message) and the caller writes nothing.
    bool Began() const { return began_; }
    // The row the save changes must still be there; it stays locked for the rest of the save.
    // When it is gone the save ends with `goneMessage` (0); when the read fails, as a failed save
    // (-1); 1 when the row is held.
    int Require(const QString& table, const QString& keyColumn, qint64 key, db::Connection::RowLock lock,
                const QString& goneMessage);
    // Waits for any other PC's change of the same kind (the type list) to end first.
    bool Serialize(int kind);
    // Commits. True when the save is written; otherwise nothing is and the user has been told.
    bool Finish();
    // Ends the save without writing anything, telling the user `message` (empty: nothing).
    void Abort(const QString& message);
    // Ends the save without writing anything because a write it depends on failed: the user is
    // told that nothing was saved, or that this login may only look.
    void Fail();

private:
    db::Connection& connection_;
    bool began_ = false;
};

// The message for a save the store refused or could not write: the look-only message for a
// login that may not write, otherwise "nothing saved". For the windows that keep their own
// transaction handling (the sales board, the price-list import).
QString RefusedSaveMessage(const db::Connection& connection);

}  // namespace mdlHouse
