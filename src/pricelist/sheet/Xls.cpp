// An Excel 97-2003 workbook (.xls), read with FreeXL. FreeXL gives text in UTF-8, numbers as
// numbers and dates already as text ("2026-11-24"), so only the numbers need turning into the
// text the sheet shows.
#include <freexl.h>

#include <QFile>

#include "pricelist/sheet/Sheet.h"

namespace pricelist {

namespace {

QString cellText(const FreeXL_CellValue& value)
{
    switch (value.type) {
        case FREEXL_CELL_INT:
            return QString::number(value.value.int_value);
        case FREEXL_CELL_DOUBLE:
            return GeneralNumberText(value.value.double_value);
        case FREEXL_CELL_TEXT:
        case FREEXL_CELL_SST_TEXT:
        case FREEXL_CELL_DATE:
        case FREEXL_CELL_DATETIME:
        case FREEXL_CELL_TIME:
            return value.value.text_value ? QString::fromUtf8(value.value.text_value) : QString();
        default:
            return QString();
    }
}

struct Handle {
    const void* xls = nullptr;
    ~Handle()
    {
        if (xls) freexl_close(xls);
    }
};

int chooseSheet(const void* xls, const QString& sheetName, QString* error)
{
    unsigned int count = 0;
    if (freexl_get_info(xls, FREEXL_BIFF_SHEET_COUNT, &count) != FREEXL_OK || count == 0) {
        *error = QStringLiteral("工作簿已损坏，无法读取（没有工作表）。");
        return -1;
    }
    if (sheetName.isEmpty()) return 0;
    QStringList names;
    for (unsigned int i = 0; i < count && i < 0xFFFF; ++i) {
        const char* name = nullptr;
        if (freexl_get_worksheet_name(xls, (unsigned short)i, &name) != FREEXL_OK || !name) continue;
        names << QString::fromUtf8(name);
        if (names.last() == sheetName) return int(i);
    }
    *error = QStringLiteral("工作簿中没有工作表\"%1\"（有：%2）。")
                 .arg(sheetName, names.join(QStringLiteral("、")));
    return -1;
}

}  // namespace

SheetTable ReadXls(const QString& path, const QString& sheetName)
{
    SheetTable table;
    table.format = QStringLiteral("XLS");
    Handle handle;
    const int opened = freexl_open(QFile::encodeName(path).constData(), &handle.xls);
    if (opened != FREEXL_OK) {
        table.error = QStringLiteral("工作簿已损坏或不是 Excel 97-2003 工作簿，无法读取（FreeXL 错误 %1）。")
                          .arg(opened);
        return table;
    }
    unsigned int password = 0;
    if (freexl_get_info(handle.xls, FREEXL_BIFF_PASSWORD, &password) == FREEXL_OK &&
        password == FREEXL_BIFF_OBFUSCATED) {
        table.error = QStringLiteral("工作簿设有密码（已加密），无法读取。请在表格程序中取消密码后再导入。");
        return table;
    }
    const int sheet = chooseSheet(handle.xls, sheetName, &table.error);
    if (sheet < 0) return table;
    unsigned int rows = 0;
    unsigned short columns = 0;
    if (freexl_select_active_worksheet(handle.xls, (unsigned short)sheet) != FREEXL_OK ||
        freexl_worksheet_dimensions(handle.xls, &rows, &columns) != FREEXL_OK) {
        table.error = QStringLiteral("工作簿已损坏，无法读取工作表。");
        return table;
    }
    for (unsigned int r = 0; r < rows; ++r) {
        CsvRecord record;
        record.line = int(r) + 1;
        for (unsigned short c = 0; c < columns; ++c) {
            FreeXL_CellValue value;
            if (freexl_get_cell_value(handle.xls, r, c, &value) != FREEXL_OK) {
                table.error = QStringLiteral("第 %1 行：工作簿已损坏，无法读取单元格。").arg(r + 1);
                table.errorLine = int(r) + 1;
                return table;
            }
            const QString text = cellText(value);
            if (text.isEmpty()) continue;
            while (record.fields.size() <= c) record.fields << QString();
            record.fields[c] = text;
        }
        if (!record.fields.isEmpty()) table.records.push_back(std::move(record));
    }
    table.ok = true;
    return table;
}

}  // namespace pricelist
