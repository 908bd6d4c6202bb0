// Writes an empty catalogue with the program's schema, unless a file is already there.
#include <QCoreApplication>
#include <QFileInfo>
#include <cstdio>

#include "core/db/Connection.h"

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: tavrelo-mkdb PATH/House.db\n");
        return 2;
    }
    const QString path = QString::fromLocal8Bit(argv[1]);
    if (QFileInfo::exists(path)) return 0;  // never overwrite a catalogue
    QString error;
    if (!db::CreateEmptyDatabase(path, &error)) {
        std::fprintf(stderr, "tavrelo-mkdb: %s\n", qPrintable(error));
        return 1;
    }
    return 0;
}
