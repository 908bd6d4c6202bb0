#include "core/ui/SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QStandardPaths>

namespace ui {

SingleInstance::SingleInstance(const QString& executablePath)
{
    QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (runtime.isEmpty()) runtime = QDir::tempPath();
    QDir().mkpath(runtime);
    const QByteArray key = QFileInfo(executablePath).absoluteFilePath().toUtf8();
    const QString hash =
        QString::fromLatin1(QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex().left(16));
    lockPath_ = runtime + QStringLiteral("/tavrelo-") + hash + QStringLiteral(".lock");
    lock_ = std::make_unique<QLockFile>(lockPath_);
    // A lock left by a crashed copy is recognised by its dead process id, not by age.
    lock_->setStaleLockTime(0);
}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::TryAcquire()
{
    if (lock_->isLocked()) return true;
    return lock_->tryLock(0);
}

}  // namespace ui
