#!/usr/bin/python3
# Writes units.xls, the Excel 97-2003 price list that tst_pricelist_workbooks reads. It is made
# with xlwt (Debian: python3-xlwt), which writes real BIFF8 in an OLE2 compound file as Excel
# 97-2003 does: shared strings, numbers, a date with its format, a merged title row and a second
# sheet. Run it again only to change the fixture: /usr/bin/python3 make_units_xls.py
import datetime
import xlwt

book = xlwt.Workbook(encoding="utf-8")
sheet = book.add_sheet("价目表")
notes = book.add_sheet("备注")
date = xlwt.easyxf(num_format_str="yyyy-mm-dd")
sheet.write_merge(0, 0, 0, 7, "金桂园价目表")
for c, title in enumerate(["楼宇名称", "类型", "楼层", "房间号", "说明", "面积", "单价", "交房日期"]):
    sheet.write(1, c, title)
rows = [
    ["金桂园1号楼", "两室一厅", 12.0, "0801", "南北通透", 89.5, 15800, datetime.date(2027, 6, 30)],
    ["金桂园1号楼", "三室两厅", 8, "0802", None, 120, 16200, datetime.date(2027, 6, 30)],
    ["金桂园2号楼", "两室一厅", 3, "0301", "带花园", 95.25, 14900, None],
]
for r, row in enumerate(rows, start=2):
    for c, value in enumerate(row):
        if value is None:
            continue
        if isinstance(value, datetime.date):
            sheet.write(r, c, value, date)
        else:
            sheet.write(r, c, value)
notes.write(0, 0, "本表由销售部整理")
book.save("units.xls")
