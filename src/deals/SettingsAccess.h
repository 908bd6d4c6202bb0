#pragma once

#include <QString>

namespace db {
class Connection;
}

// The sales settings as the settings window edits them: all of them at once.
namespace deals {

inline constexpr int kMaxHoldHours = 8760;  // a year: anything longer is no longer a hold
inline constexpr int kMaxExtensionsLimit = 99;

struct SettingValues {
    int holdHours = 24;
    int maxExtensions = 1;
    QString statusCaption = QStringLiteral("状态");
    QString wordHold = QStringLiteral("预留");
    QString wordDeposit = QStringLiteral("已认购");
    QString wordSign = QStringLiteral("已售");
    QString wordForSale = QStringLiteral("在售");
};

// The stored settings, each missing or unreadable one at its default.
SettingValues ReadSettingValues(db::Connection& connection);
// Writes every setting in one transaction; false when the store refused (nothing written).
bool WriteSettingValues(db::Connection& connection, const SettingValues& values);

}  // namespace deals
