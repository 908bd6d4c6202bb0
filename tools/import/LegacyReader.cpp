#include "LegacyReader.h"

#include <mdbtools.h>

#include <QFile>
#include <QFileInfo>
#include <cmath>
#include <limits>
#include <vector>

namespace legacy {

namespace {

constexpr int kOffsetMask = 0x1FFF;
constexpr quint32 kMaxMemoPages = 1u << 20;

const QList<TableLayout> kTables = {
    {QStringLiteral("t_HouseType"),
     {{"TypeID", Kind::Key},
      {"List", Kind::Number},
      {"HouseType", Kind::Text},
      {"MusicTitle", Kind::Text},
      {"MusicFile", Kind::Text}}},
    {QStringLiteral("t_House"),
     {{"HouseID", Kind::Key},
      {"HouseName", Kind::Text},
      {"HouseNo", Kind::Text},
      {"Intro", Kind::Text},
      {"HouseFloor", Kind::Number},
      {"TypeID", Kind::Number}}},
    {QStringLiteral("t_Content"),
     {{"ContentID", Kind::Key},
      {"HouseID", Kind::Number},
      {"Caption", Kind::Text},
      {"Content", Kind::Text},
      {"List", Kind::Number}}},
    {QStringLiteral("t_Image"),
     {{"ImageID", Kind::Key},
      {"HouseID", Kind::Number},
      {"Caption", Kind::Text},
      {"Intro", Kind::Text},
      {"ImageFile", Kind::Text},
      {"List", Kind::Number}}},
    {QStringLiteral("t_Content_Auto"),
     {{"ContentID", Kind::Key}, {"TypeID", Kind::Number}, {"Caption", Kind::Text}, {"Content", Kind::Text}}},
};

struct MdbCloser {
    MdbHandle* mdb = nullptr;
    ~MdbCloser()
    {
        if (mdb) mdb_close(mdb);
    }
};

struct TableFreer {
    MdbTableDef* table = nullptr;
    ~TableFreer()
    {
        if (table) mdb_free_tabledef(table);
    }
};

quint32 readU32(const unsigned char* p)
{
    return quint32(p[0]) | quint32(p[1]) << 8 | quint32(p[2]) << 16 | quint32(p[3]) << 24;
}

quint16 readU16(const unsigned char* p)
{
    return quint16(p[0] | p[1] << 8);
}

// Finds row `row` on a data page held in buf; false when the page's row table is not sane.
bool findRow(MdbHandle* mdb, const unsigned char* buf, int row, int* start, int* length)
{
    const int pageSize = int(mdb->fmt->pg_size);
    const int rco = mdb->fmt->row_count_offset;
    const int rowCount = readU16(buf + rco);
    if (row < 0 || row >= rowCount || rco + 2 + row * 2 + 2 > pageSize) return false;
    const int begin = readU16(buf + rco + 2 + row * 2) & kOffsetMask;
    const int end = row == 0 ? pageSize : (readU16(buf + rco + row * 2) & kOffsetMask);
    if (begin >= pageSize || end > pageSize || begin > end) return false;
    *start = begin;
    *length = end - begin;
    return true;
}

// The bytes of a memo value. Short values sit in the row; longer ones on one or more
// long-value pages that the row points to.
bool readMemo(MdbHandle* mdb, const unsigned char* header, int fieldSize, QByteArray* out)
{
    if (fieldSize < MDB_MEMO_OVERHEAD) return false;
    const quint32 word = readU32(header);
    const quint32 length = word & 0x3FFFFFFFu;
    if (word & 0x80000000u) {
        if (int(length) > fieldSize - MDB_MEMO_OVERHEAD) return false;
        *out = QByteArray(reinterpret_cast<const char*>(header) + MDB_MEMO_OVERHEAD, int(length));
        return true;
    }
    quint32 pageRow = readU32(header + 4);
    const bool singlePage = word & 0x40000000u;
    out->clear();
    for (quint32 pages = 0; pages < kMaxMemoPages; ++pages) {
        if (!mdb_read_alt_pg(mdb, pageRow >> 8)) return false;
        int start = 0;
        int size = 0;
        if (!findRow(mdb, mdb->alt_pg_buf, int(pageRow & 0xFF), &start, &size)) return false;
        const unsigned char* data = mdb->alt_pg_buf + start;
        if (singlePage) {
            if (quint32(size) < length) return false;
            *out = QByteArray(reinterpret_cast<const char*>(data), int(length));
            return true;
        }
        if (size < 4) return false;
        pageRow = readU32(data);
        out->append(reinterpret_cast<const char*>(data) + 4, size - 4);
        if (quint32(out->size()) >= length || pageRow == 0) break;
    }
    if (quint32(out->size()) < length) return false;
    out->truncate(int(length));
    return true;
}

QString columnTypeName(int type)
{
    switch (type) {
        case MDB_BOOL:
            return QStringLiteral("Yes/No");
        case MDB_BYTE:
            return QStringLiteral("Byte");
        case MDB_INT:
            return QStringLiteral("Integer");
        case MDB_LONGINT:
            return QStringLiteral("Long Integer");
        case MDB_FLOAT:
            return QStringLiteral("Single");
        case MDB_DOUBLE:
            return QStringLiteral("Double");
        case MDB_TEXT:
            return QStringLiteral("Text");
        case MDB_MEMO:
            return QStringLiteral("Memo");
        default:
            return QStringLiteral("type %1").arg(type);
    }
}

// The value of one field, as the column's kind wants it. A value that does not fit gives *why.
bool convertField(MdbHandle* mdb, const MdbColumn* col, const MdbField& field, Kind kind, QVariant* value,
                  QString* why)
{
    if (field.is_null) {
        if (kind == Kind::Key) {
            *why = QStringLiteral("the key is empty");
            return false;
        }
        *value = QVariant();
        return true;
    }
    const auto* bytes = static_cast<const unsigned char*>(field.value);
    const int size = field.siz;
    QVariant raw;
    switch (col->col_type) {
        case MDB_BYTE:
            if (size < 1) break;
            raw = qint64(bytes[0]);
            break;
        case MDB_INT:
            if (size < 2) break;
            raw = qint64(qint16(readU16(bytes)));
            break;
        case MDB_LONGINT:
            if (size < 4) break;
            raw = qint64(qint32(readU32(bytes)));
            break;
        case MDB_DOUBLE:
            if (size < 8) break;
            raw = mdb_get_double(const_cast<unsigned char*>(bytes), 0);
            break;
        case MDB_FLOAT:
            if (size < 4) break;
            raw = double(mdb_get_single(const_cast<unsigned char*>(bytes), 0));
            break;
        case MDB_TEXT:
            raw = DecodeJetText(QByteArray(reinterpret_cast<const char*>(bytes), size));
            break;
        case MDB_MEMO: {
            QByteArray memo;
            if (!readMemo(mdb, bytes, size, &memo)) {
                *why = QStringLiteral("its memo text cannot be read (the file is damaged)");
                return false;
            }
            raw = DecodeJetText(memo);
            break;
        }
        default:
            *why = QStringLiteral("the column holds %1 values, which the catalogue cannot keep")
                       .arg(columnTypeName(col->col_type));
            return false;
    }
    if (!raw.isValid()) {
        *why = QStringLiteral("the stored value is cut short (the file is damaged)");
        return false;
    }

    if (kind == Kind::Text) {
        if (raw.typeId() == QMetaType::Double) {
            *value = QString::number(raw.toDouble(), 'g', 15);
        } else if (raw.typeId() == QMetaType::LongLong) {
            *value = QString::number(raw.toLongLong());
        } else {
            *value = raw;
        }
        return true;
    }
    // Numbers must be whole and fit a long integer, as the program treats them.
    qint64 number = 0;
    if (raw.typeId() == QMetaType::LongLong) {
        number = raw.toLongLong();
    } else if (raw.typeId() == QMetaType::Double) {
        const double d = raw.toDouble();
        if (!std::isfinite(d) || std::floor(d) != d) {
            *why = QStringLiteral("%1 is not a whole number").arg(d);
            return false;
        }
        number = qint64(d);
    } else {
        const QString text = raw.toString().trimmed();
        bool ok = false;
        number = text.toLongLong(&ok);
        if (!ok) {
            QString shown;
            for (const QChar ch : raw.toString())
                shown += ch.isPrint() ? QString(ch)
                                      : QStringLiteral("\\u%1").arg(ch.unicode(), 4, 16, QLatin1Char('0'));
            *why = QStringLiteral("the text \"%1\" is not a whole number").arg(shown);
            return false;
        }
    }
    if (number < std::numeric_limits<qint32>::min() || number > std::numeric_limits<qint32>::max()) {
        *why = QStringLiteral("%1 does not fit a long integer").arg(number);
        return false;
    }
    *value = number;
    return true;
}

MdbCatalogEntry* findTableEntry(MdbHandle* mdb, const QString& name)
{
    for (guint i = 0; i < mdb->num_catalog; ++i) {
        auto* entry = static_cast<MdbCatalogEntry*>(g_ptr_array_index(mdb->catalog, i));
        if (entry->object_type != MDB_TABLE) continue;
        if (QString::fromUtf8(entry->object_name).compare(name, Qt::CaseInsensitive) == 0) return entry;
    }
    return nullptr;
}

bool readTable(MdbHandle* mdb, const TableLayout& layout, Table* out, QString* error)
{
    MdbCatalogEntry* entry = findTableEntry(mdb, layout.name);
    if (!entry) {
        *error = QStringLiteral("the table %1 is missing").arg(layout.name);
        return false;
    }
    TableFreer table{mdb_read_table(entry)};
    if (!table.table || !mdb_read_columns(table.table)) {
        *error = QStringLiteral("the table %1 cannot be read (the file is damaged)").arg(layout.name);
        return false;
    }
    MdbTableDef* t = table.table;
    std::vector<int> columnIndex;
    for (const ColumnLayout& c : layout.columns) {
        int found = -1;
        for (guint i = 0; i < t->num_cols; ++i) {
            auto* col = static_cast<MdbColumn*>(g_ptr_array_index(t->columns, i));
            if (QString::fromUtf8(col->name).compare(c.name, Qt::CaseInsensitive) == 0) found = int(i);
        }
        if (found < 0) {
            *error = QStringLiteral("the table %1 has no column %2").arg(layout.name, c.name);
            return false;
        }
        columnIndex.push_back(found);
    }

    out->layout = layout;
    out->rows.clear();
    std::vector<MdbField> fields(t->num_cols + 1);
    mdb_rewind_table(t);
    while (mdb_fetch_row(t)) {
        int start = 0;
        int length = 0;
        if (!findRow(mdb, mdb->pg_buf, int(t->cur_row) - 1, &start, &length) ||
            mdb_crack_row(t, start, size_t(length), fields.data()) < int(t->num_cols)) {
            *error = QStringLiteral("a row of %1 cannot be read (the file is damaged)").arg(layout.name);
            return false;
        }
        QVariantList row;
        for (int i = 0; i < layout.columns.size(); ++i) {
            const int index = columnIndex[size_t(i)];
            auto* col = static_cast<MdbColumn*>(g_ptr_array_index(t->columns, guint(index)));
            QVariant value;
            QString why;
            if (!convertField(mdb, col, fields[size_t(index)], layout.columns[i].kind, &value, &why)) {
                const QString key =
                    i == 0 || row.isEmpty()
                        ? QString()
                        : QStringLiteral(" (%1 %2)").arg(layout.columns[0].name, row[0].toString());
                *error = QStringLiteral("%1.%2 of row %3%4 does not fit: %5")
                             .arg(layout.name, layout.columns[i].name)
                             .arg(out->rows.size() + 1)
                             .arg(key, why);
                return false;
            }
            row << value;
        }
        out->rows << row;
    }
    if (quint32(out->rows.size()) != t->num_rows) {
        *error = QStringLiteral("the table %1 should hold %2 rows but %3 could be read (the file is damaged)")
                     .arg(layout.name)
                     .arg(t->num_rows)
                     .arg(out->rows.size());
        return false;
    }
    return true;
}

}  // namespace

const QList<TableLayout>& CatalogueTables()
{
    return kTables;
}

const Table* Catalogue::Find(const QString& name) const
{
    for (const Table& t : tables) {
        if (t.layout.name == name) return &t;
    }
    return nullptr;
}

QString DecodeJetText(const QByteArray& bytes)
{
    const auto* b = reinterpret_cast<const unsigned char*>(bytes.constData());
    const int n = bytes.size();
    QList<char16_t> units;
    units.reserve(n);
    if (n >= 2 && b[0] == 0xFF && b[1] == 0xFE) {
        bool compressed = true;
        int i = 2;
        while (i < n) {
            if (b[i] == 0) {
                compressed = !compressed;
                ++i;
            } else if (compressed) {
                units << char16_t(b[i]);
                ++i;
            } else if (i + 1 < n) {
                units << char16_t(b[i] | b[i + 1] << 8);
                i += 2;
            } else {
                break;
            }
        }
    } else {
        for (int i = 0; i + 1 < n; i += 2) units << char16_t(b[i] | b[i + 1] << 8);
    }
    return QString(reinterpret_cast<const QChar*>(units.constData()), units.size());
}

bool ReadCatalogue(const QString& mdbPath, Catalogue* catalogue, QString* error)
{
    const QFileInfo info(mdbPath);
    if (!info.isFile()) {
        *error = QStringLiteral("%1 is not a file").arg(mdbPath);
        return false;
    }
    QFile probe(mdbPath);
    if (!probe.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("%1 cannot be read: %2").arg(mdbPath, probe.errorString());
        return false;
    }
    // An Access file starts with its format page; the Jet signature sits at offset 4.
    const QByteArray head = probe.read(MDB_PGSIZE);
    probe.close();
    const QByteArray signature = head.mid(4, 15);
    if (head.size() < 0x20 || (signature != "Standard Jet DB" && signature != "Standard ACE DB")) {
        *error = QStringLiteral("%1 is not an Access database file").arg(mdbPath);
        return false;
    }
    if (info.size() % MDB_PGSIZE != 0 && info.size() % 2048 != 0) {
        *error = QStringLiteral("%1 is truncated (its size is not a whole number of pages)").arg(mdbPath);
        return false;
    }

    MdbCloser handle{mdb_open(QFile::encodeName(mdbPath).constData(), MDB_NOFLAGS)};
    MdbHandle* mdb = handle.mdb;
    if (!mdb) {
        *error = QStringLiteral("%1 cannot be opened as an Access database (it is damaged)").arg(mdbPath);
        return false;
    }
    if (mdb->f->jet_version == MDB_VER_JET3) {
        *error = QStringLiteral("%1 is an Access 97 (Jet 3) file; only Jet 4 files are read").arg(mdbPath);
        return false;
    }
    if (!mdb_read_catalog(mdb, MDB_TABLE)) {
        *error = QStringLiteral("the list of tables in %1 cannot be read (the file is damaged)").arg(mdbPath);
        return false;
    }
    catalogue->tables.clear();
    for (const TableLayout& layout : kTables) {
        Table table;
        if (!readTable(mdb, layout, &table, error)) {
            *error = QStringLiteral("%1: %2").arg(mdbPath, *error);
            return false;
        }
        catalogue->tables << table;
    }
    return true;
}

}  // namespace legacy
