#pragma once

#include <QString>

class QPagedPaintDevice;

namespace report {

class SalesFigures;

// The report as an .xlsx workbook: a sheet 说明 with the range and the captions, then one sheet per
// table (现状, 按楼宇, 按置业顾问, 每日, 未计入金额), counts and amounts as number cells and every
// text as a string cell that no spreadsheet program runs (core/SafeCells.h). Written aside and put
// in place only when complete.
bool SaveXlsx(const SalesFigures& figures, const QString& path, QString* error);

// The report on A4 pages: the heading and the summary, the two charts, then the tables (a table
// longer than a page goes on with its header repeated). Returns the number of pages, 0 on failure.
int RenderReport(const SalesFigures& figures, QPagedPaintDevice* device);
// As a PDF with its fonts embedded.
bool SavePdf(const SalesFigures& figures, const QString& path, QString* error);

}  // namespace report
