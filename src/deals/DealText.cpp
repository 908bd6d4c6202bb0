#include "deals/DealText.h"

#include <QDateTime>
#include <QHash>

#include "core/db/Clock.h"

namespace deals {

QString LocalTimeText(const QVariant& stored)
{
    if (stored.isNull()) return QString();
    const QDateTime when = db::ParseTime(stored);
    if (!when.isValid()) return stored.toString();
    return when.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString PathLabel(const QString& code)
{
    static const QHash<QString, QString> labels = {{QStringLiteral("board"), QStringLiteral("销控表")},
                                                   {QStringLiteral("wizard"), QStringLiteral("录入")},
                                                   {QStringLiteral("import"), QStringLiteral("价格表导入")},
                                                   {QStringLiteral("hold"), QStringLiteral("预留")},
                                                   {QStringLiteral("extend"), QStringLiteral("延长预留")},
                                                   {QStringLiteral("cancel"), QStringLiteral("取消预留")},
                                                   {QStringLiteral("deposit"), QStringLiteral("认购")},
                                                   {QStringLiteral("contract"), QStringLiteral("签约")},
                                                   {QStringLiteral("return"), QStringLiteral("退房")},
                                                   {QStringLiteral("expire"), QStringLiteral("到期释放")},
                                                   {QStringLiteral("manager"), QStringLiteral("经理操作")},
                                                   {QStringLiteral("restore"), QStringLiteral("恢复")},
                                                   {QStringLiteral("sql"), QStringLiteral("直接修改")}};
    return labels.value(code, code);
}
}  // namespace deals
