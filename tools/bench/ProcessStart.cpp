#include "ProcessStart.h"

#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QFile>
#include <QThread>
#include <vector>

extern char** environ;

namespace bench {

ProcessRun RunProcess(const QString& program, const QStringList& arguments, const QStringList& extraEnvironment,
                      int timeoutMs)
{
    ProcessRun run;
    // posix_spawn and wait4 rather than QProcess: wait4 hands back the child's own resource use,
    // so its peak memory is its own and not mixed with earlier children.
    std::vector<QByteArray> storage;
    storage.push_back(QFile::encodeName(program));
    for (const QString& a : arguments) storage.push_back(a.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& s : storage) argv.push_back(s.data());
    argv.push_back(nullptr);

    std::vector<QByteArray> envStorage;
    for (const QString& e : extraEnvironment) envStorage.push_back(e.toLocal8Bit());
    std::vector<char*> envp;
    for (char** e = environ; *e; ++e) {
        const QByteArray entry(*e);
        bool replaced = false;
        for (const QByteArray& extra : envStorage) {
            if (entry.startsWith(extra.left(extra.indexOf('=') + 1))) replaced = true;
        }
        if (!replaced) envp.push_back(*e);
    }
    for (QByteArray& s : envStorage) envp.push_back(s.data());
    envp.push_back(nullptr);

    QElapsedTimer timer;
    timer.start();
    pid_t pid = 0;
    if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), envp.data()) != 0) {
        run.error = QStringLiteral("cannot start ") + program;
        return run;
    }
    int status = 0;
    struct rusage usage {};
    for (;;) {
        const pid_t done = wait4(pid, &status, WNOHANG, &usage);
        if (done == pid) break;
        if (done < 0) {
            run.error = QStringLiteral("lost the child process");
            return run;
        }
        if (timer.elapsed() > timeoutMs) {
            kill(pid, SIGKILL);
            wait4(pid, &status, 0, &usage);
            run.error = QStringLiteral("%1 did not end within %2 ms").arg(program).arg(timeoutMs);
            return run;
        }
        // A short sleep keeps the parent off the child's core without blurring the time much.
        QThread::usleep(200);
    }
    run.ms = timer.nsecsElapsed() / 1e6;
    run.peakRssKb = usage.ru_maxrss;
    run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!run.ok) run.error = QStringLiteral("%1 ended with status %2").arg(program).arg(status);
    return run;
}

}  // namespace bench
