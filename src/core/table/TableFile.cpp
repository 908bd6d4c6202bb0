#include "core/table/TableFile.h"

#include <xlsxwriter.h>

#include <QFile>
#include <QFileInfo>

namespace table {

namespace {

const QString kFormulaStarts = QStringLiteral("=+-@\t\r");

bool startsLikeFormula(const QString& text, int* apostrophes)
{
    int i = 0;
    while (i < text.size() && text.at(i) == QLatin1Char('\'')) ++i;
    *apostrophes = i;
    return i < text.size() && kFormulaStarts.contains(text.at(i));
}

class CsvWriter : public Writer {
public:
    CsvWriter(const QString& path, const Options& options)
        : path_(path), file_(path + QStringLiteral(".part")), numbers_(options.numberColumns)
    {
    }
    ~CsvWriter() override
    {
        if (file_.isOpen()) {
            file_.close();
            file_.remove();
        }
    }
    bool Header(const QStringList& titles) override
    {
        if (!file_.open(QIODevice::WriteOnly | QIODevice::Truncate)) return failed();
        // The byte-order mark tells spreadsheet programs that the text is UTF-8; without it they
        // read it in the machine's own code page and the Chinese text comes out garbled.
        buffer_ = QByteArray("\xEF\xBB\xBF");
        AppendCsvLine(buffer_, titles);
        return true;
    }
    bool Row(const QStringList& cells) override
    {
        // A text cell that a spreadsheet program would run as a formula gets its apostrophe; a
        // number column's number stays one, even a negative one.
        QStringList guarded;
        guarded.reserve(cells.size());
        for (int c = 0; c < cells.size(); ++c) {
            bool number = false;
            if (numbers_.contains(c)) cells[c].toLongLong(&number);
            guarded << (number ? cells[c] : GuardFormulaText(cells[c]));
        }
        AppendCsvLine(buffer_, guarded);
        return buffer_.size() < kFlushBytes || flush();
    }
    bool Finish() override
    {
        if (!flush()) return false;
        file_.close();
        if (file_.error() != QFileDevice::NoError) return failed();
        return putInPlace(file_.fileName(), path_);
    }

private:
    static constexpr int kFlushBytes = 256 * 1024;
    bool flush()
    {
        if (file_.write(buffer_) != buffer_.size()) return failed();
        buffer_.clear();
        return true;
    }
    bool failed()
    {
        error = QStringLiteral("无法写入文件 %1：%2").arg(path_, file_.errorString());
        return false;
    }
    QString path_;
    QFile file_;
    QSet<int> numbers_;
    QByteArray buffer_;
};

class XlsxWriter : public Writer {
public:
    XlsxWriter(const QString& path, const Options& options)
        : path_(path), part_(path + QStringLiteral(".part")), options_(options)
    {
    }
    ~XlsxWriter() override
    {
        if (workbook_) {
            workbook_close(workbook_);
            QFile::remove(part_);
        }
    }
    bool Header(const QStringList& titles) override
    {
        QFile::remove(part_);
        // Rows go straight to disk and strings are written in place rather than gathered into a
        // shared table first: memory stays flat however long the table is.
        lxw_workbook_options options = {};
        options.constant_memory = LXW_TRUE;
        workbook_ = workbook_new_opt(QFile::encodeName(part_).constData(), &options);
        if (!workbook_) {
            error = QStringLiteral("无法写入文件 %1").arg(path_);
            return false;
        }
        if (!options_.propertyName.isEmpty() && !options_.propertyValue.isEmpty())
            workbook_set_custom_property_string(workbook_, options_.propertyName.constData(),
                                                options_.propertyValue.toUtf8().constData());
        sheet_ = workbook_add_worksheet(workbook_, options_.sheetName.toUtf8().constData());
        if (!sheet_) {
            error = QStringLiteral("无法写入文件 %1").arg(path_);
            return false;
        }
        lxw_format* bold = workbook_add_format(workbook_);
        format_set_bold(bold);
        for (int c = 0; c < titles.size(); ++c)
            worksheet_write_string(sheet_, 0, lxw_col_t(c), titles[c].toUtf8().constData(), bold);
        worksheet_freeze_panes(sheet_, 1, 0);
        return true;
    }
    bool Row(const QStringList& cells) override
    {
        ++row_;
        for (int c = 0; c < cells.size(); ++c) {
            const QString& cell = cells[c];
            if (cell.isEmpty()) continue;
            bool isNumber = false;
            const int number = options_.numberColumns.contains(c) ? cell.toInt(&isNumber) : 0;
            // A number column's number is one the spreadsheet can sort and sum; everything else
            // is a string cell, which no spreadsheet program runs as a formula whatever it begins
            // with, and a six-digit house number keeps its leading zeros.
            if (isNumber)
                worksheet_write_number(sheet_, row_, lxw_col_t(c), number, nullptr);
            else
                worksheet_write_string(sheet_, row_, lxw_col_t(c), cell.toUtf8().constData(), nullptr);
        }
        return true;
    }
    bool Finish() override
    {
        const lxw_error result = workbook_close(workbook_);
        workbook_ = nullptr;
        if (result != LXW_NO_ERROR) {
            QFile::remove(part_);
            error = QStringLiteral("无法写入文件 %1：%2").arg(path_, QString::fromUtf8(lxw_strerror(result)));
            return false;
        }
        return putInPlace(part_, path_);
    }

private:
    QString path_;
    QString part_;
    Options options_;
    lxw_workbook* workbook_ = nullptr;
    lxw_worksheet* sheet_ = nullptr;
    lxw_row_t row_ = 0;
};

}  // namespace

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

void AppendCsvLine(QByteArray& out, const QStringList& fields)
{
    bool first = true;
    for (const QString& f : fields) {
        if (!first) out += ',';
        first = false;
        // One pass over the encoded bytes decides the quoting: the four characters are ASCII, so
        // they cannot hide inside a multi-byte character.
        const QByteArray bytes = f.toUtf8();
        bool quote = false;
        for (const char c : bytes) {
            if (c == ',' || c == '"' || c == '\n' || c == '\r') {
                quote = true;
                break;
            }
        }
        if (!quote) {
            out += bytes;
            continue;
        }
        out += '"';
        for (const char c : bytes) {
            if (c == '"') out += '"';
            out += c;
        }
        out += '"';
    }
    out += "\r\n";
}

bool Writer::putInPlace(const QString& part, const QString& path)
{
    QFile::remove(path);
    if (QFile::rename(part, path)) return true;
    QFile::remove(part);
    error = QStringLiteral("无法写入文件 %1").arg(path);
    return false;
}

std::unique_ptr<Writer> MakeCsvWriter(const QString& path, const Options& options)
{
    return std::make_unique<CsvWriter>(path, options);
}

std::unique_ptr<Writer> MakeXlsxWriter(const QString& path, const Options& options)
{
    return std::make_unique<XlsxWriter>(path, options);
}

std::unique_ptr<Writer> MakeWriter(const QString& path, const Options& options)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("xlsx")) return MakeXlsxWriter(path, options);
    if (suffix.isEmpty() || suffix == QLatin1String("csv")) return MakeCsvWriter(path, options);
    return nullptr;
}

}  // namespace table
