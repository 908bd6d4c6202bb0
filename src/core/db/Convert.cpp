#include "core/db/Convert.h"

#include <cfenv>
#include <cmath>
#include <limits>

namespace db {

namespace {

bool parseNumber(const QString& text, double* value)
{
    const QString s = text.trimmed();
    int i = 0;
    const int n = s.size();
    if (i < n && (s[i] == u'+' || s[i] == u'-')) ++i;
    int digits = 0;
    while (i < n && s[i].isDigit() && s[i].unicode() < 128) {
        ++i;
        ++digits;
    }
    if (i < n && s[i] == u'.') {
        ++i;
        while (i < n && s[i].isDigit() && s[i].unicode() < 128) {
            ++i;
            ++digits;
        }
    }
    if (digits == 0) return false;
    if (i < n && (s[i] == u'e' || s[i] == u'E' || s[i] == u'd' || s[i] == u'D')) {
        ++i;
        if (i < n && (s[i] == u'+' || s[i] == u'-')) ++i;
        int expDigits = 0;
        while (i < n && s[i].isDigit() && s[i].unicode() < 128) {
            ++i;
            ++expDigits;
        }
        if (expDigits == 0) return false;
    }
    if (i != n) return false;
    if (value) {
        QString normal = s;
        normal.replace(u'd', u'e').replace(u'D', u'e');
        bool ok = false;
        *value = normal.toDouble(&ok);
        if (!ok) return false;
    }
    return true;
}

}  // namespace

bool IsNumeric(const QString& text)
{
    return parseNumber(text, nullptr);
}

bool ToLong(const QVariant& value, qint32* out)
{
    double d = 0;
    switch (value.typeId()) {
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::UInt:
        case QMetaType::ULongLong:
        case QMetaType::Double:
        case QMetaType::Float:
        case QMetaType::Bool:
            d = value.toDouble();
            break;
        default:
            if (!parseNumber(value.toString(), &d)) return false;
    }
    if (!std::isfinite(d)) return false;
    // nearbyint rounds with the current mode, which is to-nearest-even unless someone changed it.
    const int oldMode = std::fegetround();
    std::fesetround(FE_TONEAREST);
    const double r = std::nearbyint(d);
    std::fesetround(oldMode);
    if (r < std::numeric_limits<qint32>::min() || r > std::numeric_limits<qint32>::max()) return false;
    if (out) *out = static_cast<qint32>(r);
    return true;
}

QString PaddedHouseNumber(qint64 houseId)
{
    return (QStringLiteral("000000") + QString::number(houseId)).right(6);
}

}  // namespace db
