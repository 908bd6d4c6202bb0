#include "Report.h"

#include <time.h>

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <algorithm>
#include <cstdio>

namespace bench {

double Median(std::vector<double> values)
{
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const size_t mid = values.size() / 2;
    return values.size() % 2 ? values[mid] : (values[mid - 1] + values[mid]) / 2;
}

double Operation::programMedian() const
{
    return Median(programMs);
}
double Operation::floorMedian() const
{
    return Median(floorMs);
}
double Operation::programCpuMedian() const
{
    return Median(programCpuMs);
}

namespace {

QString& onlyText()
{
    static QString text;
    return text;
}

bool selected(const Operation& op)
{
    return onlyText().isEmpty() || op.name.contains(onlyText(), Qt::CaseInsensitive);
}

double processCpuMs()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

}  // namespace

void Measure(Operation* op, const std::function<void()>& body, const std::function<void()>& floor,
             const std::function<void()>& prepare)
{
    auto timed = [](const std::function<void()>& f) {
        QElapsedTimer timer;
        timer.start();
        f();
        return timer.nsecsElapsed() / 1e6;
    };
    op->programMs.clear();
    op->floorMs.clear();
    op->programCpuMs.clear();
    if (!selected(*op)) return;
    for (int run = 0; run <= kCountedRuns; ++run) {
        if (prepare) prepare();
        const double cpu = processCpuMs();
        const double program = timed(body);
        if (run == 0) {
            op->programFirstMs = program;
        } else {
            op->programMs.push_back(program);
            op->programCpuMs.push_back(processCpuMs() - cpu);
        }
        if (!floor) continue;
        const double floorMs = timed(floor);
        if (run == 0)
            op->floorFirstMs = floorMs;
        else
            op->floorMs.push_back(floorMs);
    }
}

namespace {

QString ratioText(const Operation& op)
{
    if (op.floorMs.empty() || op.floorMedian() <= 0) return QStringLiteral("-");
    return QString::number(op.programMedian() / op.floorMedian(), 'f', 2);
}

}  // namespace

void SetOnly(const QString& text)
{
    onlyText() = text;
}

void PrintTable(const Report& report)
{
    std::printf("Tavrelo benchmark: %d houses (catalogue filled in %.0f ms)\n", report.houses, report.fillMs);
    std::printf("Each figure is the median of %d runs after one uncounted first run.\n\n", kCountedRuns);
    const bool growth = report.baselineHouses > 0;
    std::printf(
        "| operation | program ms | %s-only ms | ratio | program CPU ms |%s\n", qPrintable(report.floorStore),
        growth ? qPrintable(QStringLiteral(" growth from %1 houses |").arg(report.baselineHouses)) : "");
    std::printf("|---|---:|---:|---:|---:|%s\n", growth ? "---:|" : "");
    for (const Operation& op : report.operations) {
        if (!selected(op)) continue;
        const QString floor =
            op.floorMs.empty() ? QStringLiteral("-") : QString::number(op.floorMedian(), 'f', 1);
        QString growthText;
        if (growth) {
            const double before = report.baselineProgramMs.value(op.name, 0);
            growthText = before > 0 ? QStringLiteral(" %1x |").arg(op.programMedian() / before, 0, 'f', 1)
                                    : QStringLiteral(" - |");
        }
        std::printf("| %s | %.1f | %s | %s | %.1f |%s\n", qPrintable(op.name), op.programMedian(),
                    qPrintable(floor), qPrintable(ratioText(op)), op.programCpuMedian(),
                    qPrintable(growthText));
    }
    std::printf("\nPeak resident memory: %.1f MB (benchmark with the windows), %.1f MB (started program)\n",
                report.peakRssKb / 1024.0, report.childPeakRssKb / 1024.0);
    QStringList notes;
    for (const Operation& op : report.operations) {
        if (selected(op) && !op.floorName.isEmpty())
            notes << op.name + QStringLiteral(": floor = ") + op.floorName;
    }
    if (!notes.isEmpty()) std::printf("\n%s\n", qPrintable(notes.join(QLatin1Char('\n'))));
    for (const QString& p : report.problems) std::printf("PROBLEM: %s\n", qPrintable(p));
    std::fflush(stdout);
}

bool WriteJson(const Report& report, const QString& path, QString* error)
{
    auto array = [](const std::vector<double>& values) {
        QJsonArray a;
        for (double v : values) a.append(v);
        return a;
    };
    QJsonArray operations;
    for (const Operation& op : report.operations) {
        if (!selected(op)) continue;
        QJsonObject o;
        o[QStringLiteral("name")] = op.name;
        o[QStringLiteral("program_ms")] = op.programMedian();
        o[QStringLiteral("program_runs_ms")] = array(op.programMs);
        o[QStringLiteral("program_first_ms")] = op.programFirstMs;
        o[QStringLiteral("program_cpu_ms")] = op.programCpuMedian();
        if (report.baselineProgramMs.value(op.name, 0) > 0)
            o[QStringLiteral("growth_from_baseline")] =
                op.programMedian() / report.baselineProgramMs.value(op.name);
        if (op.floorMs.empty()) {
            o[QStringLiteral("sqlite_ms")] = QJsonValue::Null;
            o[QStringLiteral("ratio")] = QJsonValue::Null;
        } else {
            o[QStringLiteral("sqlite_ms")] = op.floorMedian();
            o[QStringLiteral("sqlite_runs_ms")] = array(op.floorMs);
            o[QStringLiteral("sqlite_first_ms")] = op.floorFirstMs;
            o[QStringLiteral("ratio")] = op.floorMedian() > 0 ? op.programMedian() / op.floorMedian() : 0.0;
        }
        if (!op.floorName.isEmpty()) o[QStringLiteral("floor")] = op.floorName;
        operations.append(o);
    }
    QJsonObject root;
    root[QStringLiteral("houses")] = report.houses;
    root[QStringLiteral("fill_ms")] = report.fillMs;
    root[QStringLiteral("statistic")] =
        QStringLiteral("median of %1 runs after one uncounted first run").arg(kCountedRuns);
    root[QStringLiteral("operations")] = operations;
    if (report.baselineHouses > 0) root[QStringLiteral("baseline_houses")] = report.baselineHouses;
    root[QStringLiteral("peak_rss_mb")] = report.peakRssKb / 1024.0;
    root[QStringLiteral("program_start_peak_rss_mb")] = report.childPeakRssKb / 1024.0;
    QJsonArray problems;
    for (const QString& p : report.problems) problems.append(p);
    root[QStringLiteral("problems")] = problems;

    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *error = QStringLiteral("cannot write ") + path;
        return false;
    }
    file.write(QJsonDocument(root).toJson(QJsonDocument::Indented));
    return true;
}

bool ReadBaseline(const QString& path, Report* report, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read ") + path;
        return false;
    }
    const QJsonObject root = QJsonDocument::fromJson(file.readAll()).object();
    report->baselineHouses = root.value(QStringLiteral("houses")).toInt();
    for (const QJsonValue& v : root.value(QStringLiteral("operations")).toArray()) {
        const QJsonObject op = v.toObject();
        report->baselineProgramMs.insert(op.value(QStringLiteral("name")).toString(),
                                         op.value(QStringLiteral("program_ms")).toDouble());
    }
    if (report->baselineHouses <= 0 || report->baselineProgramMs.isEmpty()) {
        *error = path + QStringLiteral(" is not a benchmark report");
        return false;
    }
    return true;
}

}  // namespace bench
