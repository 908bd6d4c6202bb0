#pragma once

// What the importer's tests share: the fixtures' place, reading and writing files, comparing an
// imported catalogue with the rows a fixture's JSON lists, and ways to damage or grow a copy of
// an Access file in the shapes Access itself writes.

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <algorithm>
#include <functional>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"

namespace importtest {

constexpr int kPage = 4096;

// Kept in the repository beside these tests (tests/import/fixtures); TAVRELO_LEGACY_FIXTURES points
// elsewhere, to try other Access files.
inline QString fixtureDir()
{
    const QString other = qEnvironmentVariable("TAVRELO_LEGACY_FIXTURES");
    if (!other.isEmpty()) return other;
    return qEnvironmentVariable("TAVRELO_SOURCE_DIR") + QStringLiteral("/tests/import/fixtures");
}

inline bool fixturesPresent()
{
    return QFileInfo::exists(fixtureDir() + QStringLiteral("/House.MDB")) &&
           QFileInfo::exists(fixtureDir() + QStringLiteral("/Empty.MDB")) &&
           QFileInfo::exists(fixtureDir() + QStringLiteral("/House.json")) &&
           QFileInfo::exists(fixtureDir() + QStringLiteral("/Empty.json"));
}

// Missing sample files are a broken checkout, not a reason to pass: the test function fails.
#define REQUIRE_FIXTURES()                                                                              \
    QVERIFY2(fixturesPresent(),                                                                         \
             qPrintable(QStringLiteral("the legacy fixtures (House.MDB, Empty.MDB and their JSON) are " \
                                       "not at %1 (TAVRELO_SOURCE_DIR/tests/import/fixtures)")          \
                            .arg(fixtureDir())))

inline QByteArray readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline bool writeAll(const QString& path, const QByteArray& data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(data) == data.size();
}

inline QJsonObject loadJson(const QString& name)
{
    return QJsonDocument::fromJson(readAll(fixtureDir() + QLatin1Char('/') + name)).object();
}

// Every file below a folder with its content hash: what "left as it was" is checked against.
inline QMap<QString, QByteArray> snapshot(const QString& folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QFileInfo info(path);
        files.insert(QDir(folder).relativeFilePath(path),
                     info.isDir() ? QByteArray("dir")
                                  : QCryptographicHash::hash(readAll(path), QCryptographicHash::Sha256));
    }
    return files;
}

inline QList<QVariantList> query(const QString& dbPath, const QString& sql)
{
    QList<QVariantList> rows;
    db::Connection conn;
    if (!conn.Open(dbPath)) return rows;
    db::Recordset rs;
    if (!conn.Execute(sql, rs)) return rows;
    while (!rs.Eof()) {
        QVariantList row;
        for (int i = 0; i < rs.FieldCount(); ++i) row << rs.Field(i);
        rows << row;
        rs.MoveNext();
    }
    return rows;
}

inline QString show(const QVariant& v)
{
    return v.isNull() ? QStringLiteral("NULL") : QStringLiteral("%1(%2)").arg(v.typeName(), v.toString());
}

// Compares every table of the catalogue at dbPath with the rows the JSON lists, value by value
// (NULL against null, numbers against numbers, text exactly).
inline bool sameAsJson(const QString& dbPath, const QJsonObject& json, QString* difference)
{
    const QJsonObject tables = json.value("tables").toObject();
    if (tables.size() != 5) {
        *difference = "the JSON does not list five tables";
        return false;
    }
    for (auto t = tables.begin(); t != tables.end(); ++t) {
        const QJsonArray columns = t.value().toObject().value("columns").toArray();
        QStringList names;
        for (const auto& c : columns) names << c.toObject().value("name").toString();
        const QList<QVariantList> rows = query(
            dbPath, QStringLiteral("Select %1 From %2 Order By %3").arg(names.join(", "), t.key(), names[0]));
        const QJsonArray expected = t.value().toObject().value("rows").toArray();
        if (rows.size() != expected.size()) {
            *difference =
                QStringLiteral("%1: %2 rows, expected %3").arg(t.key()).arg(rows.size()).arg(expected.size());
            return false;
        }
        for (int r = 0; r < rows.size(); ++r) {
            const QJsonObject e = expected[r].toObject();
            for (int c = 0; c < names.size(); ++c) {
                const QJsonValue want = e.value(names[c]);
                const QVariant got = rows[r][c];
                bool same = false;
                if (want.isNull())
                    same = got.isNull();
                else if (want.isDouble())
                    same = !got.isNull() && got.typeId() == QMetaType::LongLong &&
                           got.toLongLong() == qint64(want.toDouble());
                else if (want.isString())
                    same = !got.isNull() && got.typeId() == QMetaType::QString &&
                           got.toString() == want.toString();
                if (!same) {
                    *difference = QStringLiteral("%1 row %2 column %3: got %4, expected %5")
                                      .arg(t.key())
                                      .arg(r)
                                      .arg(names[c], show(got), want.toVariant().toString());
                    return false;
                }
            }
        }
    }
    return true;
}

// Applies f to every text value of the JSON's rows.
inline QJsonObject mapStrings(QJsonObject json,
                              const std::function<QJsonValue(const QString& table, const QString& column,
                                                             const QJsonObject& row, const QJsonValue&)>& f)
{
    QJsonObject tables = json.value("tables").toObject();
    for (auto t = tables.begin(); t != tables.end(); ++t) {
        QJsonObject table = t.value().toObject();
        QJsonArray rows = table.value("rows").toArray();
        for (int i = 0; i < rows.size(); ++i) {
            QJsonObject row = rows[i].toObject();
            for (auto c = row.begin(); c != row.end(); ++c) c.value() = f(t.key(), c.key(), row, c.value());
            rows[i] = row;
        }
        table["rows"] = rows;
        t.value() = table;
    }
    json["tables"] = tables;
    return json;
}

inline int replaceAll(QByteArray& data, const QByteArray& from, const QByteArray& to)
{
    int count = 0;
    for (int i = data.indexOf(from); i >= 0; i = data.indexOf(from, i + to.size())) {
        data.replace(i, from.size(), to);
        ++count;
    }
    return count;
}

inline QByteArray utf16(const QString& s)
{
    return QByteArray(reinterpret_cast<const char*>(s.utf16()), s.size() * 2);
}

// The table-definition page whose column names include column (Jet 4 keeps them as UTF-16), and
// the byte offset of that column's 25-byte descriptor.
inline int columnDescriptor(const QByteArray& file, const QString& column, int* typeOffset)
{
    const QByteArray name = utf16(column);
    for (int page = 1; page * kPage < file.size(); ++page) {
        const char* p = file.constData() + page * kPage;
        if (p[0] != 0x02 || p[1] != 0x01) continue;
        const int numCols = quint8(p[45]) | quint8(p[46]) << 8;
        const int realIdx = quint8(p[51]) | quint8(p[52]) << 8;
        int pos = 63 + realIdx * 12 + numCols * 25;
        for (int c = 0; c < numCols && pos + 2 < kPage; ++c) {
            const int len = quint8(p[pos]) | quint8(p[pos + 1]) << 8;
            if (QByteArray(p + pos + 2, len) == name) {
                *typeOffset = page * kPage + 63 + realIdx * 12 + c * 25;
                return page;
            }
            pos += 2 + len;
        }
    }
    return -1;
}

// Grows a copy of the sample file the way Access lays out a larger catalogue: new data pages for a
// table (marked in its usage bitmap, its row count raised), and memo texts too long for the row,
// kept on long-value pages, either whole on one page or chained over several.
class JetGrower {
public:
    explicit JetGrower(QByteArray file) : d(std::move(file)) {}
    QByteArray d;

    struct Col {
        int type, var, rowcol, fixoff, len;
        bool fixed;
        QString name;
    };

    quint16 u16(int o) const { return quint16(quint8(d[o]) | quint8(d[o + 1]) << 8); }
    quint32 u32(int o) const { return quint32(u16(o)) | quint32(u16(o + 2)) << 16; }
    static void put16(QByteArray& b, int o, quint16 v)
    {
        b[o] = char(v & 0xFF);
        b[o + 1] = char(v >> 8);
    }
    static void put32(QByteArray& b, int o, quint32 v)
    {
        put16(b, o, quint16(v & 0xFFFF));
        put16(b, o + 2, quint16(v >> 16));
    }
    static QByteArray le32(quint32 v)
    {
        QByteArray b(4, 0);
        put32(b, 0, v);
        return b;
    }

    // The table-definition page of the table whose first two columns are named so.
    int tablePage(const QString& first, const QString& second, QList<Col>* cols) const
    {
        for (int pg = 1; pg * kPage < d.size(); ++pg) {
            const int b = pg * kPage;
            if (d[b] != 0x02 || d[b + 1] != 0x01) continue;
            const int ncols = u16(b + 45), nridx = int(u32(b + 51));
            QList<Col> c;
            for (int i = 0; i < ncols; ++i) {
                const int e = b + 63 + nridx * 12 + i * 25;
                c << Col{quint8(d[e]), u16(e + 7),          u16(e + 9), u16(e + 21),
                         u16(e + 23),  bool(d[e + 15] & 1), {}};
            }
            int pos = b + 63 + nridx * 12 + ncols * 25;
            for (Col& col : c) {
                const int l = u16(pos);
                col.name =
                    QString::fromUtf16(reinterpret_cast<const char16_t*>(d.constData() + pos + 2), l / 2);
                pos += 2 + l;
            }
            if (c.size() > 1 && c[0].name == first && c[1].name == second) {
                *cols = c;
                return pg;
            }
        }
        return -1;
    }

    // A page of rows (data rows of a table, or long-value rows when owner is "LVAL").
    int appendPage(const QList<QByteArray>& rows, const QByteArray& owner)
    {
        QByteArray page(kPage, 0);
        page[0] = 0x01;
        page[1] = 0x01;
        page.replace(4, 4, owner);
        int end = kPage;
        for (int n = 0; n < rows.size(); ++n) {
            end -= rows[n].size();
            page.replace(end, rows[n].size(), rows[n]);
            put16(page, 14 + 2 * n, quint16(end));
        }
        put16(page, 12, quint16(rows.size()));
        put16(page, 2, quint16(end - 14 - 2 * rows.size()));
        const int pg = d.size() / kPage;
        d += page;
        return pg;
    }

    // A memo kept outside the row; returns the 12-byte reference the row holds.
    QByteArray longMemo(const QString& text, bool chained)
    {
        const QByteArray bytes = utf16(text);
        if (!chained) {
            const int pg = appendPage({bytes}, "LVAL");
            return le32(quint32(bytes.size()) | 0x40000000u) + le32(quint32(pg) << 8) + le32(0);
        }
        // Pieces of at most 2000 bytes, each on its own page, each pointing at the next.
        QList<QByteArray> pieces;
        for (int i = 0; i < bytes.size(); i += 2000) pieces << bytes.mid(i, 2000);
        quint32 next = 0;
        for (int i = pieces.size() - 1; i >= 0; --i) {
            const int pg = appendPage({le32(next) + pieces[i]}, "LVAL");
            next = quint32(pg) << 8;
        }
        return le32(quint32(bytes.size())) + le32(next) + le32(0);
    }

    static QByteArray row(const QList<Col>& cols, const QVariantMap& values)
    {
        int fixedSize = 0;
        QList<Col> varCols;
        for (const Col& c : cols) {
            if (c.fixed)
                fixedSize = qMax(fixedSize, c.fixoff + c.len);
            else
                varCols << c;
        }
        std::sort(varCols.begin(), varCols.end(), [](const Col& a, const Col& b) { return a.var < b.var; });
        QByteArray fixed(fixedSize, 0);
        QByteArray mask((cols.size() + 7) / 8, 0);
        for (const Col& c : cols) {
            const QVariant v = values.value(c.name);
            if (v.isNull()) continue;
            mask[c.rowcol / 8] = char(mask[c.rowcol / 8] | (1 << (c.rowcol % 8)));
            if (c.fixed) put32(fixed, c.fixoff, quint32(v.toInt()));
        }
        QByteArray data;
        QList<int> offsets;
        for (const Col& c : varCols) {
            offsets << 2 + fixedSize + data.size();
            const QVariant v = values.value(c.name);
            if (v.isNull()) continue;
            if (v.typeId() == QMetaType::QByteArray) {
                data += v.toByteArray();  // a memo reference made beforehand
            } else if (c.type == 0x0C) {
                const QByteArray text = utf16(v.toString());
                data += le32(quint32(text.size()) | 0x80000000u) + le32(0) + le32(0) + text;
            } else {
                data += utf16(v.toString());
            }
        }
        offsets << 2 + fixedSize + data.size();
        QByteArray r(2, 0);
        put16(r, 0, quint16(cols.size()));
        r += fixed + data;
        for (int i = offsets.size() - 1; i >= 0; --i) {
            QByteArray o(2, 0);
            put16(o, 0, quint16(offsets[i]));
            r += o;
        }
        QByteArray count(2, 0);
        put16(count, 0, quint16(varCols.size()));
        return r + count + mask;
    }

    bool appendRows(const QString& first, const QString& second, const QList<QVariantMap>& rows)
    {
        QList<Col> cols;
        const int tdef = tablePage(first, second, &cols);
        if (tdef < 0) return false;
        const quint32 map = u32(tdef * kPage + 55);
        const int mapPage = int(map >> 8) * kPage, mapRow = int(map & 0xFF);
        const int start = (u16(mapPage + 14 + 2 * mapRow) & 0x1FFF) + mapPage;
        if (d[start] != 0x01) return false;  // a reference map: its first bitmap page follows
        const int bitmap = int(u32(start + 1)) * kPage;
        if (d[bitmap] != 0x05) return false;
        QList<QByteArray> built;
        for (const QVariantMap& r : rows) built << row(cols, r);
        for (int i = 0; i < built.size();) {
            QList<QByteArray> page;
            int used = 14 + 16;
            while (i < built.size() && used + built[i].size() + 2 < kPage) {
                used += built[i].size() + 2;
                page << built[i++];
            }
            const int pg = appendPage(page, le32(quint32(tdef)));
            d[bitmap + 4 + pg / 8] = char(d[bitmap + 4 + pg / 8] | (1 << (pg % 8)));
        }
        put32(d, tdef * kPage + 16, u32(tdef * kPage + 16) + quint32(rows.size()));
        return true;
    }
};
}  // namespace importtest
