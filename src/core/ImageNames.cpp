#include "core/ImageNames.h"

#include "core/db/Convert.h"

namespace images {

QString ImageExtension(const QString& sourcePath)
{
    // The part after the last dot; with no dot at all the whole path counts as the extension.
    return sourcePath.mid(sourcePath.lastIndexOf(QLatin1Char('.')) + 1);
}

QString StoredImageName(qint64 houseId, const QString& numberText, const QString& sourcePath)
{
    return db::PaddedHouseNumber(houseId) + QStringLiteral("_") +
           (QStringLiteral("0000") + numberText).right(4) + QStringLiteral(".") + ImageExtension(sourcePath);
}

}  // namespace images
