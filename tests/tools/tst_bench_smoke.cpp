// The benchmark itself, run small: it must build its catalogue, drive every window it measures,
// find what SQLite finds, and write every figure.
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

class tst_bench_smoke : public QObject {
    Q_OBJECT
private slots:
    void a_small_run_measures_every_operation()
    {
        const QString binaryDir = qEnvironmentVariable("TAVRELO_BINARY_DIR");
        QVERIFY2(!binaryDir.isEmpty(), "TAVRELO_BINARY_DIR is not set");
        const QString bench = binaryDir + QStringLiteral("/tavrelo-bench");
        QVERIFY2(QFile::exists(bench), qPrintable(bench + " is missing"));
        QTemporaryDir out;
        const QString json = out.filePath(QStringLiteral("bench.json"));

        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(bench, {QStringLiteral("--houses"), QStringLiteral("2000"), QStringLiteral("--json"),
                              json, QStringLiteral("--program"), binaryDir + QStringLiteral("/tavrelo")});
        QVERIFY(process.waitForStarted());
        const bool finished = process.waitForFinished(120000);
        const QByteArray output = process.readAll();
        if (!finished) process.kill();
        QVERIFY2(finished, output.constData());
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0, output.constData());
        QVERIFY2(output.contains("| operation | program ms | SQLite-only ms | ratio |"), output.constData());

        QFile file(json);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QJsonObject root = QJsonDocument::fromJson(file.readAll()).object();
        QCOMPARE(root.value("houses").toInt(), 2000);
        QVERIFY(root.value("problems").toArray().isEmpty());
        QVERIFY(root.value("peak_rss_mb").toDouble() > 0);
        QVERIFY(root.value("program_start_peak_rss_mb").toDouble() > 0);

        QHash<QString, QJsonObject> operations;
        for (const QJsonValue& v : root.value("operations").toArray())
            operations.insert(v.toObject().value("name").toString(), v.toObject());
        const QStringList expected = {
            "open the catalogue (StartList)",
            "query by building name",
            "query by attribute caption and value",
            "refresh with the attribute query active",
            "open the presentation (60 rows, 40 pictures)",
            "next house in the presentation (to 3 rows, 2 pictures)",
            "previous house in the presentation (to 60 rows, 40 pictures)",
            "open the entry wizard in edit mode (60 rows, 40 pictures)",
            "export the catalogue as a CSV price list",
            "export the catalogue as a XLSX price list",
            "import a CSV price list of 2000 new units",
            // 2000 houses: the sales board's building has half of them.
            "draw the sales board of a building of 1000 units",
            "change a status on the sales board",
            // The deals on the same catalogue: 600 of the board's units for sale, 20,000 history rows, the
            // expired holds on the houses before the board's building but the big house.
            "read a unit's history among 20000 history rows",
            "load and paint the sales board of 1000 units with 500 open holds",
            "one deal step: hold a unit (open the catalogue to commit)",
            "release 499 expired holds",
            // Ten history rows per house.
            "sales report over 20000 history rows: one month",
            "sales report over 20000 history rows: the whole year",
            "another PC's status change shown on the sales board (commit to redraw)",
            "program start to main window shown (process)",
        };
        for (const QString& name : expected) {
            QVERIFY2(operations.contains(name), qPrintable("missing: " + name));
            const QJsonObject op = operations.value(name);
            QVERIFY2(op.value("program_ms").toDouble() > 0, qPrintable(name));
            QVERIFY2(op.value("sqlite_ms").toDouble() > 0, qPrintable(name));
            QVERIFY2(op.value("ratio").toDouble() > 0, qPrintable(name));
            QCOMPARE(op.value("program_runs_ms").toArray().size(), 5);
            QCOMPARE(op.value("sqlite_runs_ms").toArray().size(), 5);
            QVERIFY2(op.value("program_cpu_ms").toDouble() > 0, qPrintable(name));
        }
        QCOMPARE(operations.size(), expected.size());
    }
};

QTEST_GUILESS_MAIN(tst_bench_smoke)
#include "tst_bench_smoke.moc"
