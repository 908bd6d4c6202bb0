#include "core/SafeCells.h"

#include <xlsxwriter.h>

#include <QFile>

namespace cells {

namespace {

// What one cell of a workbook holds at most.
constexpr int kMaxCellText = 32767;

}  // namespace

Workbook::Workbook(const QString& path, bool constantMemory)
    : path_(path), part_(path + QStringLiteral(".part")), constantMemory_(constantMemory)
{
}

Workbook::~Workbook()
{
    if (workbook_) {
        workbook_close(workbook_);
        QFile::remove(part_);
    }
}

bool Workbook::fail(const QString& why)
{
    if (error_.isEmpty()) error_ = QStringLiteral("无法写入文件 %1%2").arg(path_, why);
    return false;
}

bool Workbook::Open()
{
    QFile::remove(part_);
    lxw_workbook_options options = {};
    options.constant_memory = constantMemory_ ? LXW_TRUE : LXW_FALSE;
    workbook_ = workbook_new_opt(QFile::encodeName(part_).constData(), &options);
    if (!workbook_) return fail(QString());
    bold_ = workbook_add_format(workbook_);
    format_set_bold(bold_);
    return true;
}

bool Workbook::SetProperty(const QString& name, const QString& value)
{
    if (!workbook_) return false;
    return workbook_set_custom_property_string(workbook_, name.toUtf8().constData(),
                                               value.toUtf8().constData()) == LXW_NO_ERROR;
}

bool Workbook::AddSheet(const QString& name)
{
    if (!workbook_) return false;
    QString clean;
    for (const QChar c : name)
        clean += QStringLiteral("[]:*?/\\").contains(c) || c.unicode() < 0x20 ? QChar(u'_') : c;
    clean = clean.trimmed();
    // A leading or trailing apostrophe is refused as well.
    while (clean.startsWith(QLatin1Char('\''))) clean.remove(0, 1);
    while (clean.endsWith(QLatin1Char('\''))) clean.chop(1);
    if (clean.isEmpty()) clean = QStringLiteral("Sheet");
    clean = clean.left(31);
    const QString base = clean;
    for (int n = 2; sheetNames_.contains(clean, Qt::CaseInsensitive); ++n) {
        const QString suffix = QStringLiteral("(%1)").arg(n);
        clean = base.left(31 - suffix.size()) + suffix;
    }
    sheet_ = workbook_add_worksheet(workbook_, clean.toUtf8().constData());
    if (!sheet_) return fail(QString());
    sheetNames_ << clean;
    return true;
}

bool Workbook::Header(const QStringList& titles)
{
    if (!sheet_) return false;
    for (int c = 0; c < titles.size(); ++c)
        worksheet_write_string(sheet_, 0, lxw_col_t(c), titles[c].toUtf8().constData(), bold_);
    worksheet_freeze_panes(sheet_, 1, 0);
    return true;
}

bool Workbook::Text(int row, int column, const QString& text)
{
    if (!sheet_) return false;
    if (text.isEmpty()) return true;
    // A text longer than a cell holds is cut rather than lost whole; NUL never reaches the file.
    QString cell = text.left(kMaxCellText);
    cell.remove(QChar(u'\0'));
    return worksheet_write_string(sheet_, lxw_row_t(row), lxw_col_t(column), cell.toUtf8().constData(),
                                  nullptr) == LXW_NO_ERROR;
}

bool Workbook::Number(int row, int column, double value)
{
    if (!sheet_) return false;
    return worksheet_write_number(sheet_, lxw_row_t(row), lxw_col_t(column), value, nullptr) == LXW_NO_ERROR;
}

bool Workbook::Finish()
{
    if (!workbook_) return fail(QString());
    const lxw_error result = workbook_close(workbook_);
    workbook_ = nullptr;
    if (result != LXW_NO_ERROR) {
        QFile::remove(part_);
        return fail(QStringLiteral("：") + QString::fromUtf8(lxw_strerror(result)));
    }
    QFile::remove(path_);
    if (QFile::rename(part_, path_)) return true;
    QFile::remove(part_);
    return fail(QString());
}

}  // namespace cells
