#include "ProcessStart.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QProcess>
#include <cstdio>

namespace bench {

ProcessRun RunProcess(const QString& program, const QStringList& arguments,
                      const QStringList& extraEnvironment, int timeoutMs)
{
    ProcessRun run;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& entry : extraEnvironment) {
        const int eq = entry.indexOf(QLatin1Char('='));
        environment.insert(entry.left(eq), entry.mid(eq + 1));
    }
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(QCoreApplication::applicationFilePath(),
                  QStringList{QLatin1String(kMeasureChildOption), program} + arguments);
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        run.error = QStringLiteral("%1 did not end within %2 ms").arg(program).arg(timeoutMs);
        return run;
    }
    const QList<QByteArray> fields = process.readAllStandardOutput().trimmed().split(' ');
    if (fields.size() != 4) {
        run.error = QStringLiteral("no report on starting ") + program;
        return run;
    }
    run.ms = fields[0].toDouble();
    run.peakRssKb = fields[1].toLong();
    const int status = fields[2].toInt();
    run.cpuMs = fields[3].toDouble();
    run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!run.ok) run.error = QStringLiteral("%1 ended with wait status %2").arg(program).arg(status);
    return run;
}

int MeasureChild(char* argv[])
{
    // Measured from just before the fork: what a shell or a desktop launcher would see. The
    // child's memory starts as a copy of this small, freshly started process, not of the benchmark
    // with its windows, so the peak that wait4 reports is the program's own.
    timespec start{}, end{};
    clock_gettime(CLOCK_MONOTONIC, &start);
    const pid_t pid = fork();
    if (pid < 0) return 1;
    if (pid == 0) {
        // Ends with this process if the benchmark gives up on it.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execv(argv[0], argv);
        _exit(127);
    }
    int status = 0;
    struct rusage usage {};
    if (wait4(pid, &status, 0, &usage) != pid) return 1;
    clock_gettime(CLOCK_MONOTONIC, &end);
    const double ms = (end.tv_sec - start.tv_sec) * 1e3 + (end.tv_nsec - start.tv_nsec) / 1e6;
    const double cpu = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
                       (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
    std::printf("%.3f %ld %d %.3f\n", ms, usage.ru_maxrss, status, cpu);
    return 0;
}

}  // namespace bench
