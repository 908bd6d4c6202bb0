#include "pricelist/PriceListExport.h"

#include <QFileInfo>

#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/MsgBox.h"
#include "pricelist/sheet/PriceList.h"

namespace pricelist {

void ExportWithDialog(QWidget* parent, const QSet<qint32>* only)
{
    QString path =
        ui::GetSaveFileName(parent, QStringLiteral("CSV 文件 (*.csv)|*.csv|Excel 工作簿 (*.xlsx)|*.xlsx"),
                            QString(), QStringLiteral("导出价目表"));
    if (path.isEmpty()) return;
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix != QLatin1String("csv") && suffix != QLatin1String("xlsx")) path += QStringLiteral(".csv");
    QString error;
    const int houses = ExportProgramFolder(mdlHouse::ProgramFolder(), path, only, &error);
    if (houses < 0) {
        ui::MsgBox(QStringLiteral("导出失败：") + error);
        return;
    }
    ui::MsgBox(QStringLiteral("已导出 %1 套房屋到 %2。").arg(houses).arg(QFileInfo(path).fileName()));
}

}  // namespace pricelist
