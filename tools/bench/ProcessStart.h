#pragma once

#include <QString>
#include <QStringList>

// Starting a program as a process and timing it until it exits, with the child's own peak memory.
namespace bench {

struct ProcessRun {
    bool ok = false;
    double ms = 0;           // from the spawn to the child's exit
    long peakRssKb = 0;      // the child's ru_maxrss
    QString error;
};

// Starts program with arguments and the extra environment entries ("NAME=value") added to this
// process's environment, waits for it (at most timeoutMs) and reports.
ProcessRun RunProcess(const QString& program, const QStringList& arguments, const QStringList& extraEnvironment,
                      int timeoutMs = 60000);

}  // namespace bench
