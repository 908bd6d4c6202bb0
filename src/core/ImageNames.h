#pragma once

#include <QString>

// How a house's pictures are named in the Images folder. The entry wizard stores pictures under
// these names and a price-list import names the pictures it copies by the same rule, so the rule
// sits below both.
namespace images {

// What follows the last "." of a path, case kept. A path without a dot yields the whole path.
QString ImageExtension(const QString& sourcePath);
// "000012_0003.JPG": the padded house key, "_", the last four characters of "0000" + the
// picture's number text, ".", the source's extension. Longer keys and numbers keep their tails.
QString StoredImageName(qint64 houseId, const QString& numberText, const QString& sourcePath);

}  // namespace images
