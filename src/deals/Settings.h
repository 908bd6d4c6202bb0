#pragma once

#include <QString>

namespace db {
class Connection;
}

namespace deals {

// The catalogue-wide settings of the deals (the table t_Setting; a missing row means the default).
struct Settings {
    int holdHours = 24;                              // HoldHours: how long a hold lasts
    int maxExtensions = 1;                           // MaxExtensions: how often staff may extend one hold
    QString statusCaption = QStringLiteral("状态");  // StatusCaption: the caption of a unit's status row
    QString wordHold = QStringLiteral("预留");       // WordHold
    QString wordDeposit = QStringLiteral("已认购");  // WordDeposit
    QString wordSign = QStringLiteral("已售");       // WordSign
    QString wordForSale = QStringLiteral("在售");    // WordForSale

    // Reads every setting in one statement; a missing row, an empty value or a number that is not
    // a positive whole number (a negative count of extensions) keeps the default. False when the
    // read failed; *this then holds the defaults.
    bool Load(db::Connection& connection);

    // Writes every setting in one transaction. On a server only a manager's login may (the
    // server's grants decide); on House.db the one user is the manager. False when nothing was
    // written; *refusal then says why in the words the user is shown.
    bool Save(db::Connection& connection, QString* refusal = nullptr) const;

    // Whether the values can be saved as they are: hold hours 1..8760, extensions 0..100, every
    // word and the caption non-empty, single-line and at most 50 characters. *problem names the
    // first that cannot.
    bool Check(QString* problem = nullptr) const;
};

// What a refused save of the settings tells the user on a server.
inline const QString kManagerOnlyMessage = QStringLiteral("只有经理可以修改设置，未保存。");

}  // namespace deals
