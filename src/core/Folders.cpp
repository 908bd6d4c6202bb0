#include "core/Folders.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include "core/db/Connection.h"
#include "core/db/Store.h"

namespace folders {

namespace {

const QString kCatalogue = QStringLiteral("House.db");

QString clean(const QString& folder)
{
    return QDir::cleanPath(QDir(folder).absolutePath());
}

}  // namespace

QString PortableOrUserFolder()
{
    const QString own = QCoreApplication::applicationDirPath();
    if (!own.isEmpty() && QFileInfo(own + QLatin1Char('/') + kCatalogue).isFile()) return own;
    // Qt's AppDataLocation for an application named Tavrelo without an organisation. Written out
    // so that a tool (whose application name is its own executable's) finds the same folder.
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Tavrelo");
}

QString DefaultProgramFolder()
{
    const QString named = qEnvironmentVariable(kFolderVariable);
    if (!named.isEmpty()) return clean(named);
    return PortableOrUserFolder();
}

FolderState StateOf(const QString& folder)
{
    const QFileInfo info(folder);
    if (info.exists() && QFileInfo(folder + QLatin1Char('/') + kCatalogue).exists())
        return FolderState::Ready;
    if (info.exists() && !info.isDir()) return FolderState::NotAProgramFolder;
    // The catalogue is on a server: the folder holds the setting and the local copies of pictures
    // and tunes, and a House.db there would never be used.
    if (!db::ServerUri(folder).isEmpty()) return FolderState::ServerCatalogue;
    if (!info.exists()) return FolderState::NeedsCatalogue;
    QStringList entries =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    // The lock file of a program that ran there says nothing about the folder's contents.
    entries.removeAll(QLatin1String(kFolderLockName));
    return entries.isEmpty() ? FolderState::NeedsCatalogue : FolderState::NotAProgramFolder;
}

namespace {

// The descriptor stays open (and the lock held) until the process ends. Only the program makes the
// file: a tool that finds none knows that no program has the folder open, and leaves the folder
// exactly as it was.
bool lockFolder(const QString& folder, int operation, bool create)
{
    const QByteArray path = QFile::encodeName(folder + QLatin1Char('/') + QLatin1String(kFolderLockName));
    const int fd = ::open(path.constData(), (create ? O_RDWR | O_CREAT : O_RDONLY) | O_CLOEXEC, 0644);
    if (fd < 0) return !create && errno == ENOENT;
    if (::flock(fd, operation | LOCK_NB) != 0) {
        ::close(fd);
        return false;
    }
    return true;
}

}  // namespace

bool HoldFolderForProgram(const QString& folder)
{
    return lockFolder(folder, LOCK_SH, true);
}

bool HoldFolderExclusively(const QString& folder)
{
    return lockFolder(folder, LOCK_EX, false);
}

QString ServerFolderMessage(const QString& folder)
{
    return QStringLiteral(
               "the catalogue of %1 is on a server (its Tavrelo.conf or TAVRELO_SERVER names one); a "
               "House.db "
               "written there would never be used. Use a folder of its own and move the catalogue to the "
               "server with tavrelo-server upload.")
        .arg(QDir::toNativeSeparators(folder));
}

QString NotAProgramFolderMessage(const QString& folder)
{
    return QStringLiteral(
               "文件夹“%1”不是 Tavrelo 的程序文件夹：其中没有 House.db，也不是空文件夹。\n"
               "请选择一个已有 House.db 的文件夹，或一个空文件夹（将在其中建立新的空数据库）。")
        .arg(QDir::toNativeSeparators(folder));
}

bool Prepare(const QString& folder, QString* error)
{
    return Prepare(folder, StateOf(folder), error);
}

bool Prepare(const QString& folder, FolderState state, QString* error)
{
    auto fail = [&](const QString& text) {
        if (error) *error = text;
        return false;
    };
    if (state == FolderState::NotAProgramFolder) return fail(NotAProgramFolderMessage(folder));
    if (!QDir().mkpath(folder))
        return fail(QStringLiteral("无法建立程序文件夹“%1”。").arg(QDir::toNativeSeparators(folder)));
    const QString catalogue = folder + QLatin1Char('/') + kCatalogue;
    if (state == FolderState::NeedsCatalogue && !QFileInfo::exists(catalogue)) {
        // Written under another name and then renamed: a start that is interrupted leaves no
        // half-made House.db, and a catalogue that appeared meanwhile is not replaced (rename
        // refuses an existing target).
        const QString draft =
            folder + QStringLiteral("/.House.db.new-%1").arg(QCoreApplication::applicationPid());
        QFile::remove(draft);
        QString why;
        if (!db::CreateEmptyDatabase(draft, &why)) {
            QFile::remove(draft);
            return fail(QStringLiteral("无法在“%1”中建立空数据库 House.db：%2")
                            .arg(QDir::toNativeSeparators(folder), why));
        }
        if (!QFile::rename(draft, catalogue)) {
            QFile::remove(draft);
            if (!QFileInfo::exists(catalogue))
                return fail(QStringLiteral("无法在“%1”中建立空数据库 House.db。")
                                .arg(QDir::toNativeSeparators(folder)));
        }
    }
    for (const char* sub : {"Images", "Music"}) {
        if (!QDir().mkpath(folder + QLatin1Char('/') + QLatin1String(sub)))
            return fail(QStringLiteral("无法在“%1”中建立文件夹 %2。")
                            .arg(QDir::toNativeSeparators(folder), QLatin1String(sub)));
    }
    return true;
}

}  // namespace folders
