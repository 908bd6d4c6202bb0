#pragma once

#include <QString>

#include "core/db/Sql.h"

// The statements the entry wizard issues, built by concatenation exactly as the wizard always
// has: values pasted in as they stand, text between single quotes without doubling a quote.
namespace entry {

QString SqlHouseNames();
QString SqlHouseTypes();
QString SqlHouseNos();
QString SqlCaptions();
QString SqlContents();
QString SqlLoadHouse(qint32 houseId);
QString SqlHouseContent(qint32 houseId);
QString SqlHouseImages(qint32 houseId);
// The type name is a value: pasted into the Jet text, bound when the statement runs.
db::Sql SqlTypeIdByName(const QString& typeName);
QString SqlEmptyHouse();
QString SqlEmptyContent();
QString SqlEmptyImage();
QString SqlLastHouseId();
QString SqlHouseById(qint32 houseId);
QString SqlDeleteContent(qint32 houseId);
QString SqlDeleteImages(qint32 houseId);

// What follows the last "." of a path, case kept. A path without a dot yields the whole path.
QString ImageExtension(const QString& sourcePath);
// "000012_0003.JPG": the padded house key, "_", the last four characters of "0000" + the
// picture's number text, ".", the source's extension. Longer keys and numbers keep their tails.
QString StoredImageName(qint64 houseId, const QString& numberText, const QString& sourcePath);

}  // namespace entry
