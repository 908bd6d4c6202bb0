#pragma once

#include <QString>
#include <QVariant>

namespace db {

// The numeric-text rule the original platform applies everywhere: optional blanks, an optional
// sign, digits with an optional decimal point, an optional exponent, optional blanks.
// "1e1", "+7", " 5 ", "-0", ".5" and "5." are numeric; "", "abc", "1e", "." are not.
bool IsNumeric(const QString& text);

// The long-integer conversion: numeric text (or a number) rounded half to even into 32 bits.
// Returns false, leaving *out untouched, for text that is not numeric or does not fit.
bool ToLong(const QVariant& value, qint32* out);

// "000012" for 12: the last six characters of "000000" followed by the key.
QString PaddedHouseNumber(qint64 houseId);

}  // namespace db
