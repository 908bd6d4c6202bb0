#include "Processes.h"

#include <QFile>
#include <QProcess>

namespace testsupport {

QString BinaryDir()
{
    return qEnvironmentVariable("TAVRELO_BINARY_DIR");
}

QByteArray ReadFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool WriteFile(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

ToolRun RunTool(const QString& program, const QStringList& arguments, int timeoutMs,
                const QProcessEnvironment& environment)
{
    ToolRun run;
    QProcess p;
    if (!environment.isEmpty()) p.setProcessEnvironment(environment);
    p.start(program, arguments);
    if (!p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished();
        run.err = QStringLiteral("timed out or did not start: ") + program;
        return run;
    }
    run.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    run.out = QString::fromLocal8Bit(p.readAllStandardOutput());
    run.err = QString::fromLocal8Bit(p.readAllStandardError());
    return run;
}

}  // namespace testsupport
