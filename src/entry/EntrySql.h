#pragma once

#include <QString>

#include "core/ImageNames.h"
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

// The pictures' names, by the rule the price-list import shares (core/ImageNames.h).
using images::ImageExtension;
using images::StoredImageName;

}  // namespace entry
