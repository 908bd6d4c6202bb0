#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

// Reads the catalogue of an earlier installation out of its Access (Jet 4) file, House.MDB.
// Everything is read into memory first and checked, so that nothing is written anywhere until
// the whole file has been read without a fault.
namespace legacy {

enum class Kind { Key, Number, Text };

struct ColumnLayout {
    QString name;
    Kind kind;
};

struct TableLayout {
    QString name;
    QList<ColumnLayout> columns;  // the key first
};

// The five tables and the columns the program reads and writes, in the order they are written.
const QList<TableLayout>& CatalogueTables();

struct Table {
    TableLayout layout;
    QList<QVariantList> rows;  // one value per column of the layout: qint64, QString, or null
};

struct Catalogue {
    QList<Table> tables;  // in CatalogueTables() order
    const Table* Find(const QString& name) const;
};

// Reads the five tables. On failure returns false and says why in *error, in words for the user.
bool ReadCatalogue(const QString& mdbPath, Catalogue* catalogue, QString* error);

// Text as Jet 4 stores it: UTF-16LE, or, after the marker FF FE, Access's Unicode compression
// (single bytes for characters below 256, a zero byte switching between one and two bytes a
// character). Surrogate pairs are kept as they are stored, so characters outside the Basic
// Multilingual Plane survive.
QString DecodeJetText(const QByteArray& bytes);

}  // namespace legacy
