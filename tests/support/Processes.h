#pragma once

// Files and programs around a test: reading and writing whole files, and running the project's
// tools (or any program) as a process.

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace testsupport {

// Where the build is (CTest sets TAVRELO_BINARY_DIR); the tools beside the program live there.
QString BinaryDir();

// The whole file, or an empty array when it cannot be read.
QByteArray ReadFile(const QString& path);
// Writes the whole file; false when it could not be written completely.
bool WriteFile(const QString& path, const QByteArray& bytes);

struct ToolRun {
    int exitCode = -1;  // -1 when the program crashed, did not start or did not finish
    QString out;
    QString err;
};
// Runs a program to its end (killed after timeoutMs). An empty environment means the test's own.
ToolRun RunTool(const QString& program, const QStringList& arguments, int timeoutMs = 60000,
                const QProcessEnvironment& environment = QProcessEnvironment());

}  // namespace testsupport
