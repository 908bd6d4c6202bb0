#include "pricelist/sheet/Sheet.h"

#include <QDateTime>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>
#include <cmath>

namespace pricelist {

namespace {

const QString kFormulaStarts = QStringLiteral("=+-@\t\r");

bool startsLikeFormula(const QString& text, int* apostrophes)
{
    int i = 0;
    while (i < text.size() && text.at(i) == QLatin1Char('\'')) ++i;
    *apostrophes = i;
    return i < text.size() && kFormulaStarts.contains(text.at(i));
}

bool isEncryptedOffice(const QByteArray& bytes)
{
    // A password-protected .xlsx is not a zip at all: Office wraps it in the older compound file
    // with an "EncryptionInfo" stream, whose directory entry names it in UTF-16.
    static const QByteArray name = QByteArray::fromRawData("E\0n\0c\0r\0y\0p\0t\0i\0o\0n\0I\0n\0f\0o\0", 28);
    return bytes.contains(name);
}

SheetTable readText(const QByteArray& bytes, const QString& sheet)
{
    SheetTable table;
    table.text = true;
    if (!sheet.isEmpty()) {
        table.error = QStringLiteral("文本文件没有工作表\"%1\"。").arg(sheet);
        return table;
    }
    const DecodedText decoded = DecodeSpreadsheetText(bytes);
    if (!decoded.ok) {
        table.error = decoded.error;
        return table;
    }
    table.format = decoded.encoding;
    CsvTable csv = ParseCsv(decoded.text);
    table.separator = csv.separator;
    if (!csv.ok) {
        table.error = QStringLiteral("第 %1 行：%2").arg(csv.errorLine).arg(csv.error);
        table.errorLine = csv.errorLine;
        return table;
    }
    table.records = std::move(csv.records);
    table.ok = true;
    return table;
}

}  // namespace

SheetTable ReadSheet(const QString& path, const QString& sheet)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        SheetTable table;
        table.error = QStringLiteral("无法打开文件 %1：%2").arg(path, file.errorString());
        return table;
    }
    const QByteArray head = file.peek(8);
    if (head.startsWith("PK\x03\x04")) return ReadXlsx(path, sheet);
    if (head.startsWith("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1")) {
        const QByteArray bytes = file.readAll();
        if (isEncryptedOffice(bytes)) {
            SheetTable table;
            table.error =
                QStringLiteral("工作簿设有密码（已加密），无法读取。请在表格程序中取消密码后再导入。");
            return table;
        }
        file.close();
        return ReadXls(path, sheet);
    }
    return readText(file.readAll(), sheet);
}

QString GeneralNumberText(double value)
{
    if (!std::isfinite(value)) return QString();
    if (value == std::floor(value) && std::fabs(value) < 1e15) return QString::number(qint64(value));
    QString text = QString::number(value, 'g', 15);
    return text.replace(QLatin1Char('e'), QLatin1Char('E'));
}

namespace {

// Turns an Excel date/time format into a QDateTime format: quoted and escaped literals stay
// literal, [..] sections (locale, colour, elapsed hours) are dropped, and "m" is a minute after
// an hour or before a second, otherwise a month.
QString qtDateFormat(const QString& excel)
{
    QString out;
    QString literal;
    auto flushLiteral = [&]() {
        if (literal.isEmpty()) return;
        out += QLatin1Char('\'') + QString(literal).replace(QLatin1Char('\''), QStringLiteral("''")) +
               QLatin1Char('\'');
        literal.clear();
    };
    QChar lastUnit;
    const int n = int(excel.size());
    for (int i = 0; i < n; ++i) {
        const QChar c = excel.at(i);
        if (c == QLatin1Char(';')) break;
        if (c == QLatin1Char('"')) {
            const int end = excel.indexOf(QLatin1Char('"'), i + 1);
            literal += excel.mid(i + 1, (end < 0 ? n : end) - i - 1);
            i = end < 0 ? n : end;
            continue;
        }
        if (c == QLatin1Char('\\') && i + 1 < n) {
            literal += excel.at(++i);
            continue;
        }
        if (c == QLatin1Char('[')) {
            const int end = excel.indexOf(QLatin1Char(']'), i);
            i = end < 0 ? n : end;
            continue;
        }
        if (excel.mid(i, 5).compare(QLatin1String("AM/PM"), Qt::CaseInsensitive) == 0) {
            flushLiteral();
            out += QStringLiteral("AP");
            i += 4;
            continue;
        }
        const QChar lower = c.toLower();
        if (QStringLiteral("ymdhs").contains(lower)) {
            int run = 1;
            while (i + run < n && excel.at(i + run).toLower() == lower) ++run;
            flushLiteral();
            QChar unit = lower;
            if (lower == QLatin1Char('m') && run <= 2) {
                int next = i + run;
                while (next < n && !QStringLiteral("ymdhs").contains(excel.at(next).toLower())) ++next;
                const bool minute = lastUnit == QLatin1Char('h') ||
                                    (next < n && excel.at(next).toLower() == QLatin1Char('s'));
                unit = minute ? QLatin1Char('n') : QLatin1Char('m');
            }
            if (unit == QLatin1Char('y')) out += run <= 2 ? QStringLiteral("yy") : QStringLiteral("yyyy");
            if (unit == QLatin1Char('m')) out += QString(qMin(run, 4), QLatin1Char('M'));
            if (unit == QLatin1Char('n')) out += QString(run, QLatin1Char('m'));
            if (unit == QLatin1Char('d')) out += QString(qMin(run, 4), QLatin1Char('d'));
            if (unit == QLatin1Char('h')) out += QString(qMin(run, 2), QLatin1Char('H'));
            if (unit == QLatin1Char('s')) out += QString(qMin(run, 2), QLatin1Char('s'));
            lastUnit = unit == QLatin1Char('n') ? QLatin1Char('h') : unit;
            i += run - 1;
            continue;
        }
        literal += c;
    }
    flushLiteral();
    // With AM/PM the hours count to 12.
    if (out.contains(QStringLiteral("AP"))) out.replace(QLatin1Char('H'), QLatin1Char('h'));
    return out;
}

}  // namespace

QString DateText(double serial, const QString& excelFormat, bool from1904)
{
    if (!std::isfinite(serial) || serial < 0 || serial > 2958466) return GeneralNumberText(serial);
    // The 1900 system counts a 29 February 1900 that never was; days before it are one off.
    QDate epoch = from1904 ? QDate(1904, 1, 1) : (serial < 61 ? QDate(1899, 12, 31) : QDate(1899, 12, 30));
    const qint64 wholeDays = qint64(std::floor(serial));
    const qint64 ms = qint64(std::llround((serial - double(wholeDays)) * 86400.0)) * 1000;
    const QDateTime when(epoch.addDays(wholeDays), QTime(0, 0).addMSecs(int(qMin<qint64>(ms, 86399000))));
    return QLocale::c().toString(when, qtDateFormat(excelFormat));
}

QString GuardFormulaText(const QString& text)
{
    int apostrophes = 0;
    return startsLikeFormula(text, &apostrophes) ? QLatin1Char('\'') + text : text;
}

QString UnguardFormulaText(const QString& text)
{
    int apostrophes = 0;
    return startsLikeFormula(text, &apostrophes) && apostrophes > 0 ? text.mid(1) : text;
}

}  // namespace pricelist
