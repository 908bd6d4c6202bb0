#include "types/TypeMusic.h"

#include <QFile>
#include <filesystem>
#include <system_error>

#include "core/db/ServerFiles.h"
#include "core/mdlHouse.h"

namespace TypeMusic {

QString FileName(const QString& path)
{
#ifdef Q_OS_WIN
    const int cut = qMax(path.lastIndexOf(QLatin1Char('\\')), path.lastIndexOf(QLatin1Char('/')));
#else
    const int cut = path.lastIndexOf(QLatin1Char('/'));
#endif
    return path.mid(cut + 1);
}

bool CopyReplacing(const QString& source, const QString& destination)
{
    namespace fs = std::filesystem;
    if (source.isEmpty() || destination.isEmpty()) return false;
    const fs::path from(QFile::encodeName(source).toStdString());
    const fs::path to(QFile::encodeName(destination).toStdString());
    std::error_code error;
    if (!fs::is_regular_file(from, error)) return false;
    // Replacing a file by itself would truncate it before reading it: leave it alone instead.
    if (fs::exists(to, error) && fs::equivalent(from, to, error)) return true;
    if (!fs::copy_file(from, to, fs::copy_options::overwrite_existing, error)) return false;
    db::ShareMediaFile(mdlHouse::ProgramFolder(), destination);
    return true;
}

}  // namespace TypeMusic
