#pragma once

#include <QString>
#include <memory>

class QLockFile;

namespace ui {

// "Is another copy already running?" — per executable and per logged-on user: a lock file in the
// user's runtime folder whose name is derived from the executable's path. The lock is held for
// the life of this object (and released by the system if the process dies).
class SingleInstance {
public:
    explicit SingleInstance(const QString& executablePath);
    ~SingleInstance();
    // True when this process now holds the lock (no other copy runs); false when another has it.
    bool TryAcquire();
    QString LockPath() const { return lockPath_; }

private:
    QString lockPath_;
    std::unique_ptr<QLockFile> lock_;
};

}  // namespace ui
