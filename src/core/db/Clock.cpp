#include "core/db/Clock.h"

#include <QRegularExpression>
#include <QTimeZone>

namespace db {

QDateTime Now()
{
    const QString fixed = qEnvironmentVariable("TAVRELO_TEST_NOW").trimmed();
    if (!fixed.isEmpty()) {
        QDateTime moment = QDateTime::fromString(fixed, Qt::ISODate);
        if (!moment.isValid()) moment = QDateTime::fromString(fixed, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        if (moment.isValid()) {
            // A moment without a zone is UTC; one with a zone is turned into UTC.
            if (moment.timeSpec() == Qt::LocalTime) moment.setTimeZone(QTimeZone::utc());
            return moment.toUTC();
        }
    }
    return QDateTime::currentDateTimeUtc();
}

QString TimeText(const QDateTime& moment)
{
    return moment.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

bool IsTimeText(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$)"));
    return text.size() == 19 && pattern.match(text).hasMatch();
}

QDateTime ParseTime(const QVariant& value)
{
    if (value.isNull()) return QDateTime();
    if (value.typeId() == QMetaType::QDateTime) return value.toDateTime().toUTC();
    QString text = value.toString().trimmed();
    // The server's form: fractions of a second and an offset after the seconds.
    static const QRegularExpression server(
        QStringLiteral(R"(^(\d{4}-\d\d-\d\d[ T]\d\d:\d\d:\d\d)(\.\d+)?([+-]\d\d(?::?\d\d)?|Z)?$)"));
    const QRegularExpressionMatch m = server.match(text);
    if (!m.hasMatch()) return QDateTime();
    QDateTime moment = QDateTime::fromString(m.captured(1).replace(QLatin1Char('T'), QLatin1Char(' ')),
                                             QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!moment.isValid()) return QDateTime();
    if (!m.captured(2).isEmpty()) moment = moment.addMSecs(qint64(m.captured(2).toDouble() * 1000));
    QString offset = m.captured(3);
    int seconds = 0;
    if (!offset.isEmpty() && offset != QLatin1String("Z")) {
        const int sign = offset.startsWith(QLatin1Char('-')) ? -1 : 1;
        offset.remove(QLatin1Char(':'));
        seconds = sign * (offset.mid(1, 2).toInt() * 3600 + offset.mid(3, 2).toInt() * 60);
    }
    moment.setTimeZone(QTimeZone(seconds));
    return moment.toUTC();
}

}  // namespace db
