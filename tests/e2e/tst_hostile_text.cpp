// Text a user types (or picks from a list that another PC filled) is data and nothing else: every
// box whose text ends up in a statement gets the same set of hostile inputs, and afterwards every
// table holds exactly what the action was meant to write. Runs on House.db and, as
// tst_hostile_text_server, on a private PostgreSQL server.

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>
#include <memory>

#include "PgCluster.h"
#include "TestSupport.h"
#include "catalogue/frmHouseList.h"
#include "core/db/Connection.h"
#include "core/db/Store.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/InputBox.h"
#include "core/ui/ListView.h"
#include "entry/frmAddNewImage.h"
#include "entry/frmHouseInput.h"
#include "pricelist/sheet/PriceList.h"
#include "sales/SalesFixture.h"
#include "sales/frmSalesBoard.h"
#include "types/frmContent.h"
#include "types/frmHouseType.h"

using testsupport::ProgramFolder;

namespace {

struct Hostile {
    QString name;
    QString text;
};

// The inputs every box receives.
QList<Hostile> HostileInputs()
{
    const QString longText = QStringLiteral("楼'").repeated(5000);
    return {
        {QStringLiteral("second statement"),
         QStringLiteral("x%'; DELETE FROM t_Content; SELECT a.HouseName FROM t_House a WHERE '%' = '")},
        {QStringLiteral("second statement, comment"), QStringLiteral("x'; DELETE FROM t_House; --")},
        {QStringLiteral("always true"), QStringLiteral("' OR '1'='1")},
        {QStringLiteral("lone apostrophe"), QStringLiteral("'")},
        {QStringLiteral("dollar quotes"), QStringLiteral("$$; DELETE FROM t_Image; $$")},
        {QStringLiteral("backslash"), QStringLiteral("楼\\' OR 1=1 --")},
        {QStringLiteral("NUL"), QStringLiteral("A") + QChar(0) + QStringLiteral("座'")},
        {QStringLiteral("10,000 characters"), longText},
        {QStringLiteral("full-width apostrophe"), QStringLiteral("＇ OR ＇1＇=＇1")},
        {QStringLiteral("wildcards"), QStringLiteral("%_")},
        {QStringLiteral("emoji"), QStringLiteral("🏠'🏢")},
        {QStringLiteral("key counter reset"),
         QStringLiteral(
             "x' AND (SELECT setval(pg_get_serial_sequence('t_house','houseid'),1))>0 AND '1'='1")},
        {QStringLiteral("other table's rows"),
         testsupport::ServerMode()
             ? QStringLiteral(
                   "x%' UNION ALL SELECT 1, rolname, rolname, rolname, rolname, 1 FROM pg_roles --")
             : QStringLiteral("x%' UNION ALL SELECT 1, name, name, name, name, 1 FROM sqlite_master --")},
    };
}

// What the stores keep of a text: everything but NUL characters.
QString Stored(const QString& text)
{
    QString s = text;
    s.remove(QChar(0));
    return s;
}

const char* const kTables[][2] = {{"t_HouseType", "TypeID"},
                                  {"t_House", "HouseID"},
                                  {"t_Content", "ContentID"},
                                  {"t_Image", "ImageID"},
                                  {"t_Content_Auto", "ContentID"}};

// Every row of every table, by key, and the key counters.
struct Snapshot {
    QMap<QString, QList<QVariantList>> rows;
    QMap<QString, qint64> lastKeys;
};

Snapshot Take(const ProgramFolder& folder)
{
    Snapshot s;
    for (const auto& t : kTables) {
        const QString table = QString::fromLatin1(t[0]);
        s.rows[table] =
            folder.Rows(QStringLiteral("Select * From %1 Order By %2").arg(table, QLatin1String(t[1])));
        s.lastKeys[table] = folder.LastKey(table).toLongLong();
    }
    return s;
}

// The tables hold what they held before, plus exactly the rows given (without their keys, which
// must be new), and no key counter went back.
bool Compare(const Snapshot& before, const Snapshot& after, const QMap<QString, QList<QVariantList>>& added,
             QString* why)
{
    for (const auto& t : kTables) {
        const QString table = QString::fromLatin1(t[0]);
        const QList<QVariantList>& b = before.rows[table];
        const QList<QVariantList>& a = after.rows[table];
        const QList<QVariantList> expected = added.value(table);
        if (after.lastKeys[table] < before.lastKeys[table]) {
            *why = table + QStringLiteral(": the key counter went back");
            return false;
        }
        if (a.size() != b.size() + expected.size() || a.mid(0, b.size()) != b) {
            *why = QStringLiteral("%1: %2 rows before, %3 after, %4 expected added or the old ones changed")
                       .arg(table)
                       .arg(b.size())
                       .arg(a.size())
                       .arg(expected.size());
            return false;
        }
        for (int i = 0; i < expected.size(); ++i) {
            QVariantList row = a[b.size() + i];
            if (!b.isEmpty() && row.first().toLongLong() <= b.last().first().toLongLong()) {
                *why = table + QStringLiteral(": a new row took an old key");
                return false;
            }
            row.removeFirst();
            QStringList got, want;
            for (const QVariant& v : row) got << (v.isNull() ? QStringLiteral("NULL") : v.toString());
            for (const QVariant& v : expected[i])
                want << (v.isNull() ? QStringLiteral("NULL") : v.toString());
            if (got != want) {
                *why = table + QStringLiteral(": wrote ") + got.join(QLatin1Char('|')).left(200) +
                       QStringLiteral(", meant ") + want.join(QLatin1Char('|')).left(200);
                return false;
            }
        }
    }
    return true;
}

// The Like of the catalogue's query: % any run, _ one character, case ignored.
bool Like(const QString& value, const QString& pattern)
{
    QString rx, run;
    for (const QChar c : pattern) {
        if (c != QLatin1Char('%') && c != QLatin1Char('_')) {
            run += c;
            continue;
        }
        rx += QRegularExpression::escape(run) +
              (c == QLatin1Char('%') ? QStringLiteral(".*") : QStringLiteral("."));
        run.clear();
    }
    rx += QRegularExpression::escape(run);
    const QRegularExpression re(
        QRegularExpression::anchoredPattern(rx),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    return re.match(value).hasMatch();
}

bool Same(const QString& a, const QString& b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

void SetText(QWidget* w, const QString& text)
{
    if (auto* combo = qobject_cast<QComboBox*>(w)) {
        combo->setCurrentIndex(-1);
        combo->setEditText(text);
    } else if (auto* line = qobject_cast<QLineEdit*>(w)) {
        line->setText(text);
    } else if (auto* plain = qobject_cast<QPlainTextEdit*>(w)) {
        plain->setPlainText(text);
    } else {
        qWarning("no text box");
    }
}

QString TextOf(QWidget* w)
{
    if (auto* combo = qobject_cast<QComboBox*>(w)) return combo->currentText();
    if (auto* line = qobject_cast<QLineEdit*>(w)) return line->text();
    if (auto* plain = qobject_cast<QPlainTextEdit*>(w)) return plain->toPlainText();
    return QString();
}

QWidget* Control(QObject* root, const QString& name)
{
    return testsupport::Find<QWidget>(root, name);
}

// The catalogue the tests start from: two types, houses with texts that the hostile inputs could
// match, attribute rows, one picture, one template row.
void Seed(const ProgramFolder& folder)
{
    const QStringList statements = {
        "Insert Into t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) Values "
        "(1, 1, '公寓', '', ''), (2, 2, 'King''s', '', '')",
        "Insert Into t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) Values "
        "(1, 'A座', '101', '南向', 1, 1), (2, 'O''Hara楼', '1''02', '', 2, 2), "
        "(3, '50%_楼', '103', '', 3, 1), (4, 'x座', '104', '', 4, 1)",
        "Insert Into t_Content (HouseID, Caption, Content, List) Values "
        "(1, '朝向', '南', 1), (2, '朝向', '北''东', 1), (3, '状态', '在售', 1), (4, '状态', '已售', 1)",
        "Insert Into t_Image (HouseID, Caption, Intro, ImageFile, List) Values (1, '客厅', '', "
        "'000001_0001.png', 1)",
        "Insert Into t_Content_Auto (TypeID, Caption, Content) Values (1, '朝向', '南')"};
    for (const QString& sql : statements)
        if (!folder.Exec(sql)) qWarning("seed failed: %s", qPrintable(sql));
}

struct House {
    qint64 id;
    QString name, no, type, caption, content;
};

QList<House> SeededHouses()
{
    return {{1, QStringLiteral("A座"), QStringLiteral("101"), QStringLiteral("公寓"), QStringLiteral("朝向"),
             QStringLiteral("南")},
            {2, QStringLiteral("O'Hara楼"), QStringLiteral("1'02"), QStringLiteral("King's"),
             QStringLiteral("朝向"), QStringLiteral("北'东")},
            {3, QStringLiteral("50%_楼"), QStringLiteral("103"), QStringLiteral("公寓"),
             QStringLiteral("状态"), QStringLiteral("在售")},
            {4, QStringLiteral("x座"), QStringLiteral("104"), QStringLiteral("公寓"), QStringLiteral("状态"),
             QStringLiteral("已售")}};
}

// One cell of a CSV line: quoted, its quotes doubled.
QString CsvCell(const QString& text)
{
    QString cell = text;
    cell.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + cell + QLatin1Char('"');
}

// What the import means to write for a plan of new houses: types, houses and attribute rows.
QMap<QString, QList<QVariantList>> PlannedRows(const pricelist::Plan& plan, const Snapshot& before)
{
    QMap<QString, QList<QVariantList>> added;
    if (!plan.ok || plan.Count(pricelist::LineKind::Error) > 0) return added;
    qint64 list = 0;
    for (const QVariantList& row : before.rows[QStringLiteral("t_HouseType")])
        list = qMax(list, row[1].toLongLong());
    QHash<QString, qint64> typeIds = {{QStringLiteral("公寓"), 1}, {QStringLiteral("king's"), 2}};
    qint64 nextType = before.lastKeys[QStringLiteral("t_HouseType")];
    for (const QString& name : plan.newTypes) {
        added[QStringLiteral("t_HouseType")] << QVariantList{++list, Stored(name), QString(), QString()};
        typeIds.insert(name.trimmed().toLower(), ++nextType);
    }
    qint64 house = before.lastKeys[QStringLiteral("t_House")];
    for (const pricelist::PlanLine& line : plan.lines) {
        ++house;
        added[QStringLiteral("t_House")]
            << QVariantList{Stored(line.building), Stored(line.room), Stored(line.intro), line.floor,
                            typeIds.value(line.type.trimmed().toLower())};
        int position = 0;
        for (const auto& attribute : line.attributes)
            added[QStringLiteral("t_Content")]
                << QVariantList{house, Stored(attribute.first), Stored(attribute.second), ++position};
    }
    return added;
}

class Frame {
public:
    Frame()
    {
        area.resize(1300, 900);
        area.show();
        Forms::SetMdiArea(&area);
        Forms::Register(QStringLiteral("frmHouseList"), [] { return new frmHouseList; });
        Forms::Register(QStringLiteral("frmHouseInput"), [] { return new frmHouseInput; });
        Forms::Register(QStringLiteral("frmAddNewImage"), [] { return new frmAddNewImage; });
        Forms::Register(QStringLiteral("frmHouseType"), [] { return new frmHouseType; });
        Forms::Register(QStringLiteral("frmContent"), [] { return new frmContent; });
        Forms::Register(QStringLiteral("frmSalesBoard"), [] { return new frmSalesBoard; });
    }
    ~Frame()
    {
        for (QMdiSubWindow* sub : area.subWindowList()) sub->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        Forms::SetMdiArea(nullptr);
    }
    QMdiArea area;
};

}  // namespace

class tst_hostile_text : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        folder_ = std::make_unique<ProgramFolder>();
        Seed(*folder_);
        messages_ = std::make_unique<testsupport::MsgBoxRecorder>();
        files_ = std::make_unique<testsupport::FileDialogStub>();
        frame_ = std::make_unique<Frame>();
    }
    void cleanup()
    {
        ui::SetInputBoxInterceptor({});
        frame_.reset();
        files_.reset();
        messages_.reset();
        folder_.reset();
    }

    void catalogueQueryBoxes_data()
    {
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("text");
        for (const char* box : {"cmbHouseName", "cmbHouseType", "cmbHouseNo", "cmbCaption", "cmbContent"})
            for (const Hostile& h : HostileInputs())
                QTest::newRow(qPrintable(QLatin1String(box) + QLatin1Char('/') + h.name))
                    << QString::fromLatin1(box) << h.text;
    }

    // The query lists exactly the houses the criterion matches, changes nothing, and says what it
    // found.
    void catalogueQueryBoxes()
    {
        QFETCH(QString, box);
        QFETCH(QString, text);
        auto* list = qobject_cast<frmHouseList*>(Forms::Show(QStringLiteral("frmHouseList")));
        QVERIFY(list);
        const Snapshot before = Take(*folder_);
        SetText(Control(list, box), text);
        // A value is searched for under a caption; the caption of the seeded rows is "朝向".
        if (box == QLatin1String("cmbContent")) SetText(list->cmbCaption, QStringLiteral("朝向"));
        const QString v = Stored(TextOf(Control(list, box)));
        QVERIFY(testsupport::Click(list, QStringLiteral("cmdQuery")));

        QStringList expected;
        for (const House& h : SeededHouses()) {
            bool match = false;
            if (box == QLatin1String("cmbHouseName"))
                match = Like(h.name, QLatin1Char('%') + v + QLatin1Char('%'));
            if (box == QLatin1String("cmbHouseType")) match = Same(h.type, v);
            if (box == QLatin1String("cmbHouseNo")) match = Same(h.no, v);
            if (box == QLatin1String("cmbCaption")) match = Same(h.caption, v) && !h.content.isEmpty();
            if (box == QLatin1String("cmbContent"))
                match = Same(h.caption, QStringLiteral("朝向")) &&
                        Like(h.content, QLatin1Char('%') + v + QLatin1Char('%'));
            if (match) expected << QStringLiteral("%1|%2").arg(h.id, 6, 10, QLatin1Char('0')).arg(h.name);
        }
        QStringList listed;
        const ui::ListModel* model = list->lsvHouse->Model();
        for (int r = 0; r < model->Count(); ++r)
            listed << model->Text(r, 0) + QLatin1Char('|') + model->Text(r, 1);
        listed.sort();
        QCOMPARE(listed, expected);
        QCOMPARE(list->lblStatus->text(), QStringLiteral("共查询到 %1 项。").arg(expected.size()));
        QCOMPARE(messages_->Texts(), QStringList());
        QString why;
        QVERIFY2(Compare(before, Take(*folder_), {}, &why), qPrintable(why));
    }

    void wizardFields_data()
    {
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("text");
        for (const char* box :
             {"cmbHouseName", "cmbHouseType", "cmbHouseNo", "cmbHouseFloor", "txtHouseIntro", "cmbCaption(1)",
              "cmbContent(1)", "txtImageCaption", "txtImageIntro"})
            for (const Hostile& h : HostileInputs())
                QTest::newRow(qPrintable(QLatin1String(box) + QLatin1Char('/') + h.name))
                    << QString::fromLatin1(box) << h.text;
    }

    // A new house saved by the wizard with one hostile field: exactly one house, its row and its
    // picture are added, holding the typed texts.
    void wizardFields()
    {
        QFETCH(QString, box);
        QFETCH(QString, text);
        auto* w = qobject_cast<frmHouseInput*>(Forms::Show(QStringLiteral("frmHouseInput")));
        QVERIFY(w);
        const Snapshot before = Take(*folder_);
        SetText(w->cmbHouseName, QStringLiteral("新楼"));
        SetText(w->cmbHouseType, QStringLiteral("公寓"));
        SetText(w->cmbHouseNo, QStringLiteral("201"));
        SetText(w->cmbHouseFloor, QStringLiteral("2"));
        SetText(w->txtHouseIntro, QStringLiteral("说明"));
        SetText(Control(w, QStringLiteral("cmbCaption(1)")), QStringLiteral("朝向"));
        SetText(Control(w, QStringLiteral("cmbContent(1)")), QStringLiteral("南"));
        QString pictureCaption = QStringLiteral("客厅"), pictureIntro = QStringLiteral("明亮");
        if (box == QLatin1String("txtImageCaption")) pictureCaption = text;
        if (box == QLatin1String("txtImageIntro")) pictureIntro = text;
        if (!box.startsWith(QLatin1String("txtImage"))) SetText(Control(w, box), text);

        QVERIFY(testsupport::Click(w, QStringLiteral("cmdAddNewImage")));
        auto* d = qobject_cast<frmAddNewImage*>(Forms::Find(QStringLiteral("frmAddNewImage")));
        QVERIFY(d);
        files_->paths << testsupport::MakePicture(folder_->File(QStringLiteral("pic.png")), 40, 30);
        QVERIFY(testsupport::Click(d, QStringLiteral("cmdOpenImageFile")));
        SetText(d->txtImageCaption, pictureCaption);
        SetText(d->txtImageIntro, pictureIntro);
        pictureCaption = Stored(d->txtImageCaption->text());
        pictureIntro = Stored(d->txtImageIntro->text());
        QVERIFY(testsupport::Click(d, QStringLiteral("cmdImageOK")));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

        const QString name = Stored(w->cmbHouseName->currentText());
        const QString type = Stored(w->cmbHouseType->currentText());
        const QString no = Stored(w->cmbHouseNo->currentText());
        const QString floorText = w->cmbHouseFloor->currentText();
        QString intro = Stored(w->txtHouseIntro->toPlainText());
        intro.replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
        const QString caption =
            Stored(Control(w, QStringLiteral("cmbCaption(1)"))->property("currentText").toString());
        const QString content =
            Stored(Control(w, QStringLiteral("cmbContent(1)"))->property("currentText").toString());
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdNext")));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdFinish")));
        QCOMPARE(messages_->Texts(), QStringList());

        // The type is the one of exactly that name, if there is one.
        QVariant typeId;
        if (Same(type, QStringLiteral("公寓"))) typeId = 1;
        if (Same(type, QStringLiteral("King's"))) typeId = 2;
        bool floorOk = false;
        const int floor = floorText.trimmed().toInt(&floorOk);
        const qint64 house = before.rows[QStringLiteral("t_House")].last().first().toLongLong() + 1;
        const QString picture = QStringLiteral("%1_0001.png").arg(house, 6, 10, QLatin1Char('0'));
        QMap<QString, QList<QVariantList>> added;
        added[QStringLiteral("t_House")] = {
            {name, no, intro, floorOk ? QVariant(floor) : QVariant(), typeId}};
        added[QStringLiteral("t_Content")] = {{house, caption, content, 1}};
        added[QStringLiteral("t_Image")] = {{house, pictureCaption, pictureIntro, picture, 1}};
        QString why;
        QVERIFY2(Compare(before, Take(*folder_), added, &why), qPrintable(why));
    }

    void typeAndTemplateTexts_data()
    {
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("text");
        for (const char* box : {"txtHouseType", "txtMusicTitle", "txtCaption", "txtContent"})
            for (const Hostile& h : HostileInputs())
                QTest::newRow(qPrintable(QLatin1String(box) + QLatin1Char('/') + h.name))
                    << QString::fromLatin1(box) << h.text;
    }

    // A new type (its name or tune title hostile), or a template row of the first type.
    void typeAndTemplateTexts()
    {
        QFETCH(QString, box);
        QFETCH(QString, text);
        auto* w = qobject_cast<frmHouseType*>(Forms::Show(QStringLiteral("frmHouseType")));
        QVERIFY(w);
        const Snapshot before = Take(*folder_);
        QMap<QString, QList<QVariantList>> added;
        if (box.startsWith(QLatin1String("txtHouse")) || box.startsWith(QLatin1String("txtMusic"))) {
            QVERIFY(testsupport::Click(w, QStringLiteral("cmdAddNew")));
            SetText(w->txtHouseType, QStringLiteral("新类型"));
            SetText(w->txtMusicTitle, QStringLiteral("曲名"));
            SetText(Control(w, box), text);
            const QString type = Stored(w->txtHouseType->text());
            const QString title = Stored(w->txtMusicTitle->text());
            QVERIFY(testsupport::Click(w, QStringLiteral("cmdEditOK")));
            const QVariant file = Take(*folder_).rows[QStringLiteral("t_HouseType")].last().value(4);
            added[QStringLiteral("t_HouseType")] = {{3, type, title, file}};
        } else {
            w->lsvType->SelectRow(0);
            QVERIFY(testsupport::Click(w, QStringLiteral("cmdContent")));
            auto* c = qobject_cast<frmContent*>(Forms::Find(QStringLiteral("frmContent")));
            QVERIFY(c);
            QVERIFY(testsupport::Click(c, QStringLiteral("cmdAddNew")));
            SetText(c->txtCaption, QStringLiteral("面积"));
            SetText(c->txtContent, QStringLiteral("90"));
            SetText(Control(c, box), text);
            const QString caption = Stored(c->txtCaption->text());
            const QString content = Stored(c->txtContent->text());
            QVERIFY(testsupport::Click(c, QStringLiteral("cmdEditOK")));
            QVERIFY(testsupport::Click(c, QStringLiteral("cmdOK")));
            // The template is written anew: the old row goes, both rows come back with new keys.
            Snapshot expectedBefore = before;
            expectedBefore.rows[QStringLiteral("t_Content_Auto")].clear();
            added[QStringLiteral("t_Content_Auto")] = {{1, QStringLiteral("朝向"), QStringLiteral("南")},
                                                       {1, caption, content}};
            QCOMPARE(messages_->Texts(), QStringList());
            QString why;
            QVERIFY2(Compare(expectedBefore, Take(*folder_), added, &why), qPrintable(why));
            return;
        }
        QCOMPARE(messages_->Texts(), QStringList());
        QString why;
        QVERIFY2(Compare(before, Take(*folder_), added, &why), qPrintable(why));
    }

    void salesBoardStatus_data()
    {
        QTest::addColumn<QString>("text");
        for (const Hostile& h : HostileInputs()) QTest::newRow(qPrintable(h.name)) << h.text;
    }

    // A status typed through "其他…" is written to the house's status row and nowhere else.
    void salesBoardStatus()
    {
        QFETCH(QString, text);
        auto* board = qobject_cast<frmSalesBoard*>(Forms::Show(QStringLiteral("frmSalesBoard")));
        QVERIFY(board);
        board->cmbBuilding->setCurrentText(QStringLiteral("50%_楼"));
        QCoreApplication::processEvents();
        QCOMPARE(board->Board().building, QStringLiteral("50%_楼"));
        QCOMPARE(int(board->Board().units.size()), 1);
        Snapshot before = Take(*folder_);
        ui::SetInputBoxInterceptor([text](const QString&) { return text; });
        QVERIFY(salestest::PickFromCellMenu(board, 3, {QStringLiteral("设置状态"), QStringLiteral("其他…")}));
        QCOMPARE(messages_->Texts(), QStringList());
        QList<QVariantList>& content = before.rows[QStringLiteral("t_Content")];
        for (QVariantList& row : content)
            if (row[1].toLongLong() == 3 && row[2].toString() == QStringLiteral("状态"))
                row[3] = Stored(text.trimmed());
        QString why;
        QVERIFY2(Compare(before, Take(*folder_), {}, &why), qPrintable(why));
        QCOMPARE(board->Board().units.front().status, Stored(text.trimmed()));
    }

    void storedNamesPickedFromLists_data()
    {
        QTest::addColumn<QString>("text");
        for (const Hostile& h : HostileInputs()) QTest::newRow(qPrintable(h.name)) << h.text;
    }

    // A building name stored by another PC and picked from the drop-downs: the sales board and the
    // catalogue show that building's houses, nothing else, and change nothing.
    void storedNamesPickedFromLists()
    {
        QFETCH(QString, text);
        const QString name = Stored(text);
        QString quoted = name;
        quoted.replace(QLatin1Char('\''), QStringLiteral("''"));
        QVERIFY(folder_->Exec(
            QStringLiteral("Insert Into t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, "
                           "TypeID) Values (9, '%1', '901', '', 9, 1)")
                .arg(quoted)));
        QVERIFY(
            folder_->Exec(QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) Values "
                                         "(9, '状态', '在售', 1)")));
        const Snapshot before = Take(*folder_);

        auto* board = qobject_cast<frmSalesBoard*>(Forms::Show(QStringLiteral("frmSalesBoard")));
        QVERIFY(board);
        const int at = board->cmbBuilding->findText(name, Qt::MatchExactly | Qt::MatchCaseSensitive);
        QVERIFY(at >= 0);
        board->cmbBuilding->setCurrentIndex(at);
        QCoreApplication::processEvents();
        QCOMPARE(board->Board().building, name);
        QCOMPARE(int(board->Board().units.size()), 1);
        QCOMPARE(board->Board().units.front().houseId, 9);
        QCOMPARE(board->Board().units.front().status, QStringLiteral("在售"));

        auto* list = qobject_cast<frmHouseList*>(Forms::Show(QStringLiteral("frmHouseList")));
        QVERIFY(list);
        const int entry = list->cmbHouseName->findText(name, Qt::MatchExactly | Qt::MatchCaseSensitive);
        QVERIFY(entry >= 0);
        list->cmbHouseName->setCurrentIndex(entry);
        QVERIFY(testsupport::Click(list, QStringLiteral("cmdQuery")));
        QStringList listed;
        for (int r = 0; r < list->lsvHouse->Model()->Count(); ++r)
            listed << list->lsvHouse->Model()->Text(r, 0);
        QVERIFY2(listed.contains(QStringLiteral("000009")), qPrintable(listed.join(QLatin1Char(' '))));
        for (const QString& key : listed)
            QVERIFY(QStringList({"000001", "000002", "000003", "000004", "000009"}).contains(key));
        QCOMPARE(list->lblStatus->text(), QStringLiteral("共查询到 %1 项。").arg(listed.size()));
        QCOMPARE(messages_->Texts(), QStringList());
        QString why;
        QVERIFY2(Compare(before, Take(*folder_), {}, &why), qPrintable(why));
    }

    void priceListCells_data()
    {
        QTest::addColumn<QString>("text");
        for (const Hostile& h : HostileInputs()) QTest::newRow(qPrintable(h.name)) << h.text;
    }

    // A price list whose every text cell (an attribute's column title too) carries the input,
    // imported by the real tavrelo-pricelist: the catalogue gains what the import's plan says.
    void priceListCells()
    {
        QFETCH(QString, text);
        const QString csv = folder_->File(QStringLiteral("list.csv"));
        QFile file(csv);
        QVERIFY(file.open(QIODevice::WriteOnly));
        const QString header = QStringLiteral("序号,楼宇名称,类型,楼层,房间号,说明,") + CsvCell(text) +
                               QStringLiteral(",图片\r\n");
        const QString line = QStringLiteral(",%1,%1,5,%1,%1,%1,\r\n").arg(CsvCell(text));
        file.write((header + line).toUtf8());
        file.close();

        const Snapshot before = Take(*folder_);
        pricelist::Plan plan;
        {
            db::Connection connection;
            QVERIFY(db::OpenCatalogue(connection, folder_->Path()));
            pricelist::ImportOptions options;
            options.createTypes = true;
            plan = pricelist::MakePlan(csv, connection, options);
        }
        QVERIFY2(plan.ok, qPrintable(plan.error));
        QCOMPARE(int(plan.lines.size()), 1);
        QProcess tool;
        tool.start(qEnvironmentVariable("TAVRELO_BINARY_DIR") + QStringLiteral("/tavrelo-pricelist"),
                   {QStringLiteral("import"), csv, folder_->Path(), QStringLiteral("--create-types")});
        QVERIFY(tool.waitForFinished(60000));
        // Each input is a text the sheet may hold: the line is accepted, and written.
        QVERIFY2(plan.Count(pricelist::LineKind::New) == 1, qPrintable(plan.lines.front().reason));
        QVERIFY2(tool.exitCode() == 0, tool.readAllStandardError().constData());
        QString why;
        QVERIFY2(Compare(before, Take(*folder_), PlannedRows(plan, before), &why), qPrintable(why));
    }

private:
    std::unique_ptr<ProgramFolder> folder_;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages_;
    std::unique_ptr<testsupport::FileDialogStub> files_;
    std::unique_ptr<Frame> frame_;
};

QTEST_MAIN(tst_hostile_text)
#include "tst_hostile_text.moc"
