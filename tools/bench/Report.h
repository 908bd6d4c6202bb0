#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <functional>
#include <vector>

// What the benchmark measured and how it is shown: a table on standard output and the same
// figures as JSON.
namespace bench {

// How often each operation runs: one run first that is not counted (it pays for first-time
// costs such as fonts and caches, and is reported separately as "first"), then the counted runs,
// of which the median is the figure.
inline constexpr int kCountedRuns = 5;

struct Operation {
    QString name;
    QString floorName;              // what the floor column measured for this operation
    std::vector<double> programMs;  // counted runs
    std::vector<double> floorMs;
    // Processor time of the program side (all its threads; for a started program, the child's),
    // which other work on a shared machine disturbs far less than the wall-clock time.
    std::vector<double> programCpuMs;
    double programFirstMs = 0;
    double floorFirstMs = 0;
    double programMedian() const;
    double floorMedian() const;
    double programCpuMedian() const;
};

struct Report {
    int houses = 0;
    double fillMs = 0;
    QString floorStore = QStringLiteral("SQLite");  // what the floor column ran on: SQLite or libpq
    long peakRssKb = 0;                             // this process (the windows)
    long childPeakRssKb = 0;                        // the started program, largest over its runs
    std::vector<Operation> operations;
    QStringList problems;  // anything that went wrong; a non-empty list fails the run
    // A smaller run to compare with (--baseline): its size and its program times by operation.
    int baselineHouses = 0;
    QHash<QString, double> baselineProgramMs;
};

// Reads a report written by WriteJson as the baseline of report.
bool ReadBaseline(const QString& path, Report* report, QString* error);

// Runs the operation's program side once uncounted and kCountedRuns times counted, each run
// timed from before body to after it; prepare (untimed) runs before every run. When floor is
// given, each program run is followed by a floor run, so that both see the same machine: other
// work on a shared machine then slows both alike instead of skewing the ratio.
void Measure(Operation* op, const std::function<void()>& body, const std::function<void()>& floor = {},
             const std::function<void()>& prepare = {});

double Median(std::vector<double> values);

// With a non-empty text, only the operations whose name contains it run (--only): a quick look at
// one line without the whole benchmark. The others are left out of the table and the JSON.
void SetOnly(const QString& text);

void PrintTable(const Report& report);
bool WriteJson(const Report& report, const QString& path, QString* error);

}  // namespace bench
