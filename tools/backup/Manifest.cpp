#include "Manifest.h"

#include <QCryptographicHash>
#include <QSet>
#include <QUrl>

namespace backup {

namespace {

constexpr const char* kFirstLine = "tavrelo-backup manifest 1";

// Paths are percent-encoded so that a file name with a space, a newline or any other byte still
// takes exactly one field of one line.
QByteArray encodePath(const QString& path)
{
    return QUrl::toPercentEncoding(path, "/._-~()+,=@");
}

QString decodePath(const QByteArray& field)
{
    return QUrl::fromPercentEncoding(field);
}

bool isHex64(const QByteArray& text)
{
    if (text.size() != 64) return false;
    for (char c : text)
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
    return true;
}

}  // namespace

qint64 Manifest::Bytes() const
{
    qint64 total = 0;
    for (const FileSum& f : files) total += f.size;
    return total;
}

qint64 Manifest::Rows(const QString& table) const
{
    for (const auto& t : tables)
        if (t.first == table) return t.second;
    return -1;
}

QByteArray Manifest::Text() const
{
    QByteArray out;
    out += kFirstLine;
    out += '\n';
    out += "created " + created.toUtf8() + '\n';
    out += "folder " + encodePath(programFolder) + '\n';
    for (const auto& t : tables)
        out += "table " + t.first.toUtf8() + ' ' + QByteArray::number(t.second) + '\n';
    out += "images " + QByteArray::number(images) + '\n';
    out += "music " + QByteArray::number(music) + '\n';
    out += "files " + QByteArray::number(files.size()) + '\n';
    out += "bytes " + QByteArray::number(Bytes()) + '\n';
    for (const FileSum& f : files)
        out += "file " + f.sha256 + ' ' + QByteArray::number(f.size) + ' ' + encodePath(f.path) + '\n';
    out += "end\n";
    return out;
}

bool Manifest::Parse(const QByteArray& text, Manifest* manifest, QString* error)
{
    *manifest = Manifest();
    const QList<QByteArray> lines = text.split('\n');
    if (lines.isEmpty() || lines.first() != kFirstLine) {
        *error = QStringLiteral("the manifest is not one that tavrelo-backup writes");
        return false;
    }
    qint64 fileCount = -1;
    qint64 byteCount = -1;
    bool ended = false;
    QSet<QString> paths;
    for (int i = 1; i < lines.size() && !ended; ++i) {
        const QByteArray& line = lines[i];
        const QList<QByteArray> f = line.split(' ');
        bool ok = true;
        if (f[0] == "created" && f.size() == 2) {
            manifest->created = QString::fromUtf8(f[1]);
        } else if (f[0] == "folder" && f.size() == 2) {
            manifest->programFolder = decodePath(f[1]);
        } else if (f[0] == "table" && f.size() == 3) {
            manifest->tables << qMakePair(QString::fromUtf8(f[1]), f[2].toLongLong(&ok));
        } else if (f[0] == "images" && f.size() == 2) {
            manifest->images = f[1].toLongLong(&ok);
        } else if (f[0] == "music" && f.size() == 2) {
            manifest->music = f[1].toLongLong(&ok);
        } else if (f[0] == "files" && f.size() == 2) {
            fileCount = f[1].toLongLong(&ok);
        } else if (f[0] == "bytes" && f.size() == 2) {
            byteCount = f[1].toLongLong(&ok);
        } else if (f[0] == "file" && f.size() == 4 && isHex64(f[1])) {
            FileSum sum{decodePath(f[3]), f[2].toLongLong(&ok), f[1]};
            ok = ok && sum.size >= 0 && !paths.contains(sum.path);
            paths.insert(sum.path);
            manifest->files << sum;
        } else if (line == "end") {
            ended = true;
        } else {
            ok = false;
        }
        if (!ok) {
            *error = QStringLiteral("line %1 of the manifest cannot be read").arg(i + 1);
            return false;
        }
    }
    if (!ended || fileCount != manifest->files.size() || byteCount != manifest->Bytes()) {
        *error = QStringLiteral("the manifest is incomplete");
        return false;
    }
    return true;
}

QByteArray Sha256Hex(const QByteArray& data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex();
}

}  // namespace backup
