// The program's layers, checked on the sources: app → windows → features → core/ui → core/db.
// A file may include its own layer and the layers below it; a feature may include another
// feature only where kAllowedFeatureIncludes says so, with the reason.

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

namespace {

// The feature folders under src/. A new room (deals, reports, customers …) is added here when its
// folder appears; an unknown folder fails the check until it is placed.
const QStringList kFeatures = {
    QStringLiteral("about"),        QStringLiteral("catalogue"), QStringLiteral("entry"),
    QStringLiteral("presentation"), QStringLiteral("pricelist"), QStringLiteral("sales"),
    QStringLiteral("types"),        QStringLiteral("deals"),     QStringLiteral("report"),
    QStringLiteral("reports"),      QStringLiteral("customers"), QStringLiteral("wall")};
// Above the features: the program's main and the windows' registry with the main window.
const QStringList kTop = {QStringLiteral("app"), QStringLiteral("windows")};

// Feature → feature includes that are allowed, each with its reason.
struct AllowedInclude {
    QString from;
    QString to;
    QString reason;
};
const QList<AllowedInclude> kAllowedFeatureIncludes = {
    {QStringLiteral("sales"), QStringLiteral("deals"),
     QStringLiteral(
         "the board's cells show their open deals and their menu offers the deal steps and a unit's "
         "history")},
    {QStringLiteral("report"), QStringLiteral("sales"),
     QStringLiteral("the sales report colours each status as the board does (sales::StatusColours)")},
    {QStringLiteral("wall"), QStringLiteral("sales"),
     QStringLiteral("the wall screen shows the sales board full screen: the same units, colours and cells")},
};

// The pieces of src/core that the data library compiles (CMakeLists.txt: tavrelo_db); the data
// layer may use them, and they may use nothing above it.
const QStringList kDataLibraryCore = {QStringLiteral("core/Folders.h"), QStringLiteral("core/Program.h"),
                                      QStringLiteral("core/ImageNames.h")};

// Qt modules whose headers the data layer must not include: it links Qt Core only.
const QStringList kInterfaceModules = {QStringLiteral("QtWidgets"), QStringLiteral("QtGui"),
                                       QStringLiteral("QtMultimedia"), QStringLiteral("QtWebEngineWidgets")};
// Widget and GUI class headers, by the names used in this tree's includes.
const QRegularExpression kInterfaceHeader(QStringLiteral(
    "^Q(Widget|Application|GuiApplication|Dialog|MessageBox|MainWindow|Mdi\\w*|Label|PushButton|"
    "ComboBox|LineEdit|Painter|Pixmap|Image|Color|Font|Screen|Action|Menu\\w*|Layout|\\w*Layout|"
    "Printer|MediaPlayer|AudioOutput|WebEngine\\w*|Abstract(Button|ItemView|ScrollArea)|"
    "ScrollArea|TreeWidget|ListWidget|TableWidget|CheckBox|ProgressBar|TextEdit|PlainTextEdit)$"));

struct Include {
    QString file;    // the including file, relative to src/ ("core/mdlHouse.cpp")
    int line = 0;    // 1-based
    QString target;  // as written between the quotes or angle brackets
    bool quoted = false;
};

// The layer a path under src/ belongs to: "app", "windows", a feature name, "core/ui", "core/db",
// "core", "data-core" (a core file in the data library), "root" (src/version.h …), or "" when the
// path is in a folder nobody has placed.
QString LayerOf(const QString& path)
{
    const QStringList parts = path.split(QLatin1Char('/'));
    if (parts.size() == 1) return QStringLiteral("root");
    const QString& top = parts.first();
    if (top == QLatin1String("core")) {
        if (parts.size() > 2 && (parts[1] == QLatin1String("db") || parts[1] == QLatin1String("ui")))
            return top + QLatin1Char('/') + parts[1];
        QString header = path;
        header.replace(QRegularExpression(QStringLiteral("\\.cpp$")), QStringLiteral(".h"));
        return kDataLibraryCore.contains(header) ? QStringLiteral("data-core") : QStringLiteral("core");
    }
    if (kTop.contains(top) || kFeatures.contains(top)) return top;
    return QString();
}

bool FeatureIncludeAllowed(const QString& from, const QString& to)
{
    for (const auto& allowed : kAllowedFeatureIncludes)
        if (allowed.from == from && allowed.to == to) return true;
    return false;
}

// What is wrong with one include, or an empty string.
QString Violation(const Include& inc)
{
    const QString from = LayerOf(inc.file);
    const QString where = QStringLiteral("%1:%2 includes %3").arg(inc.file).arg(inc.line).arg(inc.target);
    if (from.isEmpty())
        return where + QStringLiteral(" — its folder is in no layer (place it in tst_layering)");
    const bool lowLayer = from == QLatin1String("core/db") || from == QLatin1String("data-core");
    if (!inc.quoted) {
        const QString module = inc.target.section(QLatin1Char('/'), 0, 0);
        if (lowLayer && (kInterfaceModules.contains(module) || kInterfaceHeader.match(inc.target).hasMatch()))
            return where + QStringLiteral(" — the data library uses Qt Core only");
        return QString();
    }
    // Quoted includes without a folder are the file's neighbours (generated headers, "../Print.h").
    if (!inc.target.contains(QLatin1Char('/'))) return QString();
    const QString to = LayerOf(inc.target);
    if (to.isEmpty() || to == QLatin1String("root")) return QString();
    if (from == to) return QString();
    if (kTop.contains(from)) return QString();
    if (kTop.contains(to)) return where + QStringLiteral(" — only app and windows may include ") + to;
    if (kFeatures.contains(from)) {
        if (kFeatures.contains(to) && !FeatureIncludeAllowed(from, to))
            return where + QStringLiteral(" — a feature includes another feature");
        return QString();
    }
    // From here on the including file is in src/core.
    if (kFeatures.contains(to)) return where + QStringLiteral(" — core reaches up into a feature");
    if (lowLayer && to != QLatin1String("core/db") && to != QLatin1String("data-core"))
        return where + QStringLiteral(" — the data library reaches up into ") + to;
    if (from == QLatin1String("core/ui") && to == QLatin1String("core"))
        return where + QStringLiteral(" — core/ui reaches up into the shared module's level");
    return QString();
}

QList<Include> IncludesOf(const QString& relative, const QByteArray& text)
{
    static const QRegularExpression pattern(QStringLiteral("^\\s*#\\s*include\\s*([\"<])([^\">]+)[\">]"));
    QList<Include> result;
    const QList<QByteArray> lines = text.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        const QRegularExpressionMatch m = pattern.match(QString::fromUtf8(lines[i]));
        if (m.hasMatch())
            result.push_back({relative, i + 1, m.captured(2), m.captured(1) == QLatin1String("\"")});
    }
    return result;
}

QString SourceDir()
{
    const QString root = qEnvironmentVariable("TAVRELO_SOURCE_DIR");
    return root.isEmpty() ? QString() : root + QStringLiteral("/src");
}

// The stores' own libraries. Outside src/core/db only these folders may include them, each for
// its reason.
const QStringList kStoreHeaders = {QStringLiteral("sqlite3.h"), QStringLiteral("libpq-fe.h")};
const QList<QPair<QString, QString>> kStoreHeaderUsers = {
    {QStringLiteral("core/db/"), QStringLiteral("the data layer itself")},
    {QStringLiteral("tools/bench/"),
     QStringLiteral("the benchmark's floor runs the same statements through SQLite and libpq alone")},
};

// What is wrong with a file under src/ or tools/ including a store's library, or "".
QString StoreViolation(const Include& inc)
{
    if (inc.quoted || !kStoreHeaders.contains(inc.target)) return QString();
    for (const auto& user : kStoreHeaderUsers)
        if (inc.file.startsWith(user.first)) return QString();
    return QStringLiteral("%1:%2 includes <%3> — SQLite and PostgreSQL are reached through the data layer")
        .arg(inc.file)
        .arg(inc.line)
        .arg(inc.target);
}

// The data layer's inside: the raw handles behind a Connection and the server session. Nothing
// outside src/core/db includes them; above it a Connection says IsServer and core/db offers the rest.
const QStringList kDataLayerInside = {QStringLiteral("core/db/Handles.h"),
                                      QStringLiteral("core/db/PgSession.h")};

// What is wrong with a file under src/ or tools/ including the data layer's inside, or "".
QString InsideViolation(const Include& inc)
{
    if (!inc.quoted || !kDataLayerInside.contains(inc.target) ||
        inc.file.startsWith(QLatin1String("core/db/")))
        return QString();
    return QStringLiteral("%1:%2 includes \"%3\" — the raw handles stay inside the data layer")
        .arg(inc.file)
        .arg(inc.line)
        .arg(inc.target);
}

}  // namespace

class tst_layering : public QObject {
    Q_OBJECT

    QList<Include> includes;
    QList<Include> toolIncludes;  // tools/, with paths starting "tools/"
    int files = 0;

private slots:
    void initTestCase()
    {
        const QString src = SourceDir();
        QVERIFY2(!src.isEmpty(), "TAVRELO_SOURCE_DIR is not set (CTest sets it)");
        QVERIFY2(QDir(src).exists(), qPrintable(src));
        QDirIterator it(src, {QStringLiteral("*.h"), QStringLiteral("*.cpp"), QStringLiteral("*.in")},
                        QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            QFile file(path);
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(path));
            includes += IncludesOf(QDir(src).relativeFilePath(path), file.readAll());
            ++files;
        }
        const QString root = QFileInfo(src).path();
        QDirIterator tools(root + QStringLiteral("/tools"), {QStringLiteral("*.h"), QStringLiteral("*.cpp")},
                           QDir::Files, QDirIterator::Subdirectories);
        while (tools.hasNext()) {
            const QString path = tools.next();
            QFile file(path);
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(path));
            toolIncludes += IncludesOf(QDir(root).relativeFilePath(path), file.readAll());
        }
    }

    // The scan itself sees the tree: if it found nothing, every rule below would pass vacuously.
    void scanSeesTheTree()
    {
        QVERIFY2(files > 50, qPrintable(QString::number(files)));
        QVERIFY(includes.size() > 200);
        bool sawWindows = false;
        for (const Include& inc : includes)
            if (inc.file == QLatin1String("windows/RegisterWindows.cpp") &&
                inc.target == QLatin1String("catalogue/frmHouseList.h"))
                sawWindows = true;
        QVERIFY(sawWindows);
    }

    // The rules catch what they are written for, on includes made up for the purpose.
    void rulesCatchViolations_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("quoted");
        QTest::addColumn<bool>("wrong");
        QTest::newRow("core→feature") << "core/PriceListExport.cpp"
                                      << "pricelist/sheet/PriceList.h" << true << true;
        QTest::newRow("feature→feature") << "pricelist/sheet/Import.cpp"
                                         << "entry/EntrySql.h" << true << true;
        QTest::newRow("core/ui→mdlHouse") << "core/ui/MsgBox.cpp"
                                          << "core/mdlHouse.h" << true << true;
        QTest::newRow("core/db→core/ui") << "core/db/Store.cpp"
                                         << "core/ui/MsgBox.h" << true << true;
        QTest::newRow("core/db→QWidget") << "core/db/Store.cpp"
                                         << "QWidget" << false << true;
        QTest::newRow("core/db→QtWidgets") << "core/db/Store.cpp"
                                           << "QtWidgets/QLabel" << false << true;
        QTest::newRow("data core→mdlHouse") << "core/Program.cpp"
                                            << "core/mdlHouse.h" << true << true;
        QTest::newRow("feature→windows") << "entry/frmHouseInput.cpp"
                                         << "windows/frmMain.h" << true << true;
        QTest::newRow("core→app") << "core/mdlHouse.cpp"
                                  << "app/Main.h" << true << true;
        QTest::newRow("unplaced folder") << "dealz/frmDeal.cpp"
                                         << "core/mdlHouse.h" << true << true;
        QTest::newRow("deals→catalogue") << "deals/frmDeal.cpp"
                                         << "catalogue/HouseQuery.h" << true << true;
        QTest::newRow("windows→feature") << "windows/RegisterWindows.cpp"
                                         << "entry/frmHouseInput.h" << true << false;
        QTest::newRow("feature→core/ui") << "entry/frmHouseInput.cpp"
                                         << "core/ui/MsgBox.h" << true << false;
        QTest::newRow("feature→own") << "entry/HouseInputRows.cpp"
                                     << "entry/EntrySql.h" << true << false;
        QTest::newRow("core/ui→Program") << "core/ui/MsgBox.cpp"
                                         << "core/Program.h" << true << false;
        QTest::newRow("core/ui→core/db") << "core/ui/MediaControl.cpp"
                                         << "core/db/ServerFiles.h" << true << false;
        QTest::newRow("core/db→QString") << "core/db/Store.cpp"
                                         << "QString" << false << false;
        QTest::newRow("core→version") << "core/mdlHouse.cpp"
                                      << "version.h" << true << false;
    }
    void rulesCatchViolations()
    {
        QFETCH(QString, file);
        QFETCH(QString, target);
        QFETCH(bool, quoted);
        QFETCH(bool, wrong);
        const QString violation = Violation({file, 1, target, quoted});
        QCOMPARE(!violation.isEmpty(), wrong);
    }

    void storeRuleCatchesViolations()
    {
        QVERIFY(!StoreViolation(
                     {QStringLiteral("tools/import/Importer.cpp"), 3, QStringLiteral("sqlite3.h"), false})
                     .isEmpty());
        QVERIFY(!StoreViolation(
                     {QStringLiteral("catalogue/HouseQuery.cpp"), 3, QStringLiteral("libpq-fe.h"), false})
                     .isEmpty());
        QVERIFY(
            StoreViolation({QStringLiteral("core/db/Statement.cpp"), 3, QStringLiteral("sqlite3.h"), false})
                .isEmpty());
        QVERIFY(
            StoreViolation({QStringLiteral("tools/bench/Floor.cpp"), 3, QStringLiteral("sqlite3.h"), false})
                .isEmpty());
    }

    // Only the data layer (and the benchmark's floor) include SQLite's and libpq's headers.
    void storesAreReachedThroughTheDataLayer()
    {
        QVERIFY(toolIncludes.size() > 50);
        QStringList violations;
        for (const Include& inc : includes + toolIncludes) {
            const QString v = StoreViolation(inc);
            if (!v.isEmpty()) violations << v;
        }
        if (!violations.isEmpty()) QFAIL(qPrintable(QLatin1Char('\n') + violations.join(QLatin1Char('\n'))));
    }

    void insideRuleCatchesViolations()
    {
        QVERIFY(!InsideViolation({QStringLiteral("tools/pricelist/main.cpp"), 3,
                                  QStringLiteral("core/db/Handles.h"), true})
                     .isEmpty());
        QVERIFY(!InsideViolation({QStringLiteral("pricelist/sheet/Write.cpp"), 3,
                                  QStringLiteral("core/db/PgSession.h"), true})
                     .isEmpty());
        QVERIFY(InsideViolation(
                    {QStringLiteral("core/db/KeyCounter.cpp"), 3, QStringLiteral("core/db/Handles.h"), true})
                    .isEmpty());
        QVERIFY(InsideViolation(
                    {QStringLiteral("core/Save.cpp"), 3, QStringLiteral("core/db/Connection.h"), true})
                    .isEmpty());
    }

    // Only the data layer's own files hold a connection's raw handles or its server session.
    void rawHandlesStayInsideTheDataLayer()
    {
        QStringList violations;
        for (const Include& inc : includes + toolIncludes) {
            const QString v = InsideViolation(inc);
            if (!v.isEmpty()) violations << v;
        }
        if (!violations.isEmpty()) QFAIL(qPrintable(QLatin1Char('\n') + violations.join(QLatin1Char('\n'))));
    }

    // Every allowed feature-to-feature include names two features and gives a reason.
    void allowedListIsSound()
    {
        for (const auto& allowed : kAllowedFeatureIncludes) {
            QVERIFY(kFeatures.contains(allowed.from));
            QVERIFY(kFeatures.contains(allowed.to));
            QVERIFY(!allowed.reason.trimmed().isEmpty());
        }
    }

    // The tree as it stands keeps every rule; the message names each include that does not.
    void treeKeepsTheLayers()
    {
        QStringList violations;
        for (const Include& inc : includes) {
            const QString v = Violation(inc);
            if (!v.isEmpty()) violations << v;
        }
        if (!violations.isEmpty()) QFAIL(qPrintable(QLatin1Char('\n') + violations.join(QLatin1Char('\n'))));
    }
};

QTEST_GUILESS_MAIN(tst_layering)
#include "tst_layering.moc"
