#include "deals/DealText.h"

#include <QDateTime>
#include <QHash>
#include <QRegularExpression>

namespace deals {

QString LocalTimeText(const QVariant& stored)
{
    if (stored.isNull()) return QString();
    if (stored.metaType().id() == QMetaType::QDateTime)
        return stored.toDateTime().toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
    const QString text = stored.toString().trimmed();
    // The date, the time, optional fractions and an optional offset (+08, +08:00, Z).
    static const QRegularExpression pattern(QStringLiteral(
        "^(\\d{4}-\\d{2}-\\d{2})[ T](\\d{2}:\\d{2}:\\d{2})(?:\\.\\d+)?\\s*(Z|[+-]\\d{2}(?::?\\d{2})?)?$"));
    const QRegularExpressionMatch m = pattern.match(text);
    if (!m.hasMatch()) return text;
    QDateTime when = QDateTime::fromString(m.captured(1) + QLatin1Char(' ') + m.captured(2),
                                           QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!when.isValid()) return text;
    int offset = 0;
    const QString zone = m.captured(3);
    if (!zone.isEmpty() && zone != QLatin1String("Z")) {
        const QString digits = QString(zone).remove(QLatin1Char(':'));
        const int hours = digits.mid(1, 2).toInt();
        const int minutes = digits.size() >= 5 ? digits.mid(3, 2).toInt() : 0;
        offset = (hours * 3600 + minutes * 60) * (zone.startsWith(QLatin1Char('-')) ? -1 : 1);
    }
    when.setOffsetFromUtc(offset);
    return when.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString StageLabel(const QString& stage)
{
    if (stage == QLatin1String("hold")) return QStringLiteral("预留");
    if (stage == QLatin1String("deposit")) return QStringLiteral("认购");
    if (stage == QLatin1String("contract")) return QStringLiteral("签约");
    if (stage == QLatin1String("cancelled")) return QStringLiteral("已取消");
    if (stage == QLatin1String("expired")) return QStringLiteral("已到期");
    if (stage == QLatin1String("returned")) return QStringLiteral("已退房");
    return stage;
}

}  // namespace deals

namespace deals {
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
