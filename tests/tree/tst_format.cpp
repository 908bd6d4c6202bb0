// Every tracked C++ file under src, tools and tests is as clang-format writes it, with the
// repository's .clang-format. Run `clang-format -i FILE` on a file this test names.

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

QString SourceDir()
{
    return qEnvironmentVariable("TAVRELO_SOURCE_DIR");
}

// Debian 12's clang-format is 14; the versioned name wins so that a newer default cannot move the
// goalposts where both are installed.
QString ClangFormat()
{
    const QString versioned = QStandardPaths::findExecutable(QStringLiteral("clang-format-14"));
    return versioned.isEmpty() ? QStandardPaths::findExecutable(QStringLiteral("clang-format")) : versioned;
}

struct Run {
    int exitCode = -1;
    QString out;
};

Run RunIn(const QString& dir, const QString& program, const QStringList& arguments)
{
    QProcess p;
    p.setWorkingDirectory(dir);
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, arguments);
    Run run;
    if (!p.waitForStarted(10000) || !p.waitForFinished(300000)) {
        run.out = program + QStringLiteral(" did not run: ") + p.errorString();
        return run;
    }
    run.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    run.out = QString::fromUtf8(p.readAll());
    return run;
}

// The tracked C++ files, relative to the checkout.
QStringList TrackedFiles(const QString& root, QString* error)
{
    const Run git =
        RunIn(root, QStringLiteral("git"),
              {QStringLiteral("ls-files"), QStringLiteral("--"), QStringLiteral("src/*.cpp"),
               QStringLiteral("src/*.h"), QStringLiteral("tools/*.cpp"), QStringLiteral("tools/*.h"),
               QStringLiteral("tests/*.cpp"), QStringLiteral("tests/*.h")});
    if (git.exitCode != 0) {
        *error = QStringLiteral("git ls-files failed in ") + root + QStringLiteral(": ") + git.out;
        return {};
    }
    return git.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

// The files clang-format would change, from its --dry-run report ("file:line:col: error: …").
QStringList Unformatted(const QString& root, const QStringList& files, QString* report)
{
    QStringList names;
    static const QRegularExpression line(QStringLiteral("^(.+):\\d+:\\d+: (?:error|warning): "),
                                         QRegularExpression::MultilineOption);
    // In batches, to keep each command line short.
    for (qsizetype start = 0; start < files.size(); start += 100) {
        QStringList arguments = {QStringLiteral("--style=file"), QStringLiteral("--dry-run"),
                                 QStringLiteral("--Werror"), QStringLiteral("--ferror-limit=1")};
        arguments += files.mid(start, 100);
        const Run run = RunIn(root, ClangFormat(), arguments);
        if (run.exitCode == 0) continue;
        report->append(run.out);
        auto it = line.globalMatch(run.out);
        bool named = false;
        while (it.hasNext()) {
            const QString name = it.next().captured(1);
            if (!names.contains(name)) names << name;
            named = true;
        }
        // A failure that names no file (a broken .clang-format, a crash) still fails.
        if (!named) names << QStringLiteral("(clang-format failed: exit %1)").arg(run.exitCode);
    }
    return names;
}

}  // namespace

class tst_format : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(!SourceDir().isEmpty(), "TAVRELO_SOURCE_DIR is not set (CTest sets it)");
        QVERIFY2(!ClangFormat().isEmpty(), "clang-format is not installed (scripts/setup installs it)");
        QVERIFY2(QFile::exists(SourceDir() + QStringLiteral("/.clang-format")),
                 "no .clang-format in the checkout");
    }

    // The check itself: a file written as clang-format writes it passes, the same file with one
    // line spoilt fails and is named. Without this the check below could pass by seeing nothing.
    void checkSeesADifference()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        QVERIFY(QFile::copy(SourceDir() + QStringLiteral("/.clang-format"),
                            dir.filePath(QStringLiteral(".clang-format"))));
        const QByteArray good = "int Twice(int value)\n{\n    return 2 * value;\n}\n";
        QFile file(dir.filePath(QStringLiteral("Sample.cpp")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(good);
        file.close();
        QString report;
        QCOMPARE(Unformatted(dir.path(), {QStringLiteral("Sample.cpp")}, &report), QStringList());

        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(good).replace("return 2 * value;", "return 2*value ;"));
        file.close();
        QCOMPARE(Unformatted(dir.path(), {QStringLiteral("Sample.cpp")}, &report), QStringList{"Sample.cpp"});
    }

    void trackedFilesAreFormatted()
    {
        QString error;
        const QStringList files = TrackedFiles(SourceDir(), &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QVERIFY2(files.size() > 100,
                 qPrintable(QStringLiteral("only %1 tracked C++ files").arg(files.size())));
        QString report;
        const QStringList wrong = Unformatted(SourceDir(), files, &report);
        if (!wrong.isEmpty())
            QFAIL(qPrintable(QStringLiteral("%1 of %2 files differ from clang-format's output "
                                            "(clang-format -i FILE):\n")
                                 .arg(wrong.size())
                                 .arg(files.size()) +
                             wrong.join(QLatin1Char('\n'))));
    }
};

QTEST_GUILESS_MAIN(tst_format)
#include "tst_format.moc"
