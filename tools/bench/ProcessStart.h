#pragma once

#include <QString>
#include <QStringList>

// Starting a program as a process and timing it until it exits, with the child's own peak memory.
namespace bench {

struct ProcessRun {
    bool ok = false;
    double ms = 0;       // from the start of the program to its exit
    long peakRssKb = 0;  // the program's own ru_maxrss
    double cpuMs = 0;    // the program's user and system time
    QString error;
};

// The option under which this benchmark, started again, starts a program and reports on it.
inline constexpr const char* kMeasureChildOption = "--measure-child";

// Starts program with arguments and the extra environment entries ("NAME=value"), waits for it
// (at most timeoutMs) and reports. The program is started by a fresh copy of this benchmark (see
// MeasureChild), so that its peak memory is its own and not inherited from the benchmark.
ProcessRun RunProcess(const QString& program, const QStringList& arguments,
                      const QStringList& extraEnvironment, int timeoutMs = 60000);

// The started copy's work: argv[0] is the program, the rest its arguments. Forks, executes it,
// waits, and prints "milliseconds peak-kB wait-status cpu-milliseconds" on standard output. Returns the exit
// code.
int MeasureChild(char* argv[]);

}  // namespace bench
