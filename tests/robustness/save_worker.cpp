// The child of tst_killed_saves: runs the program's own save paths through the real windows,
// offscreen, one after another until it is killed. Every house it saves describes itself in its
// Intro ("rows=N pictures=M") and every template row carries the number of rows of its template,
// so that whoever looks at the catalogue afterwards can tell a whole save from half of one.
//
//   save_worker PROGRAM_FOLDER SEED [adds|race]
//
// With "adds" it only saves new houses, as a second PC entering houses beside a first one that
// does everything. With "race" it is one of several PCs working on the same few houses and types
// at once: it keeps the catalogue small (few houses, few types), and waits a random moment between
// loading a house or a template into its window and saving it, so that another PC's deletion can
// come in between; a wizard told that its house is gone saves what was entered as a new house
// half of the time, as the wizard then offers.
// It prints "ready" once the windows are up and one line per finished save. The program folder
// may name a catalogue on a server (Tavrelo.conf), as any program folder may.
#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QMdiArea>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QThread>
#include <cstdio>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/db/Store.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/MsgBox.h"
#include "core/ui/WindowCalls.h"
#include "entry/frmHouseInput.h"
#include "types/frmContent.h"
#include "types/frmHouseType.h"
#include "windows/RegisterWindows.h"

namespace {

QRandomGenerator rng;
QString picture;
bool racing = false;

// In a race, the moment between a window's load and its save, for another PC to act in.
void pause()
{
    if (racing) QThread::msleep(rng.bounded(150));
}

void say(const char* line)
{
    std::printf("%s\n", line);
    std::fflush(stdout);
}

void click(QWidget* root, const char* name)
{
    if (auto* b = root->findChild<QPushButton*>(QString::fromLatin1(name))) b->click();
}

void setText(QWidget* root, const QString& name, const QString& text)
{
    if (auto* combo = root->findChild<QComboBox*>(name))
        combo->setEditText(text);
    else if (auto* line = root->findChild<QLineEdit*>(name))
        line->setText(text);
    else if (auto* plain = root->findChild<QPlainTextEdit*>(name))
        plain->setPlainText(text);
}

QList<qint64> houseKeys()
{
    QList<qint64> keys;
    db::Connection cn;
    db::Recordset rs;
    if (db::OpenCatalogue(cn, mdlHouse::ProgramFolder()) && cn.Execute("Select HouseID From t_House", rs)) {
        while (!rs.Eof()) {
            keys << rs.Field(0).toLongLong();
            rs.MoveNext();
        }
    }
    return keys;
}

// Fills the wizard's rows and pictures at rng, writes the description that names their
// counts, and clicks through to "完成".
void finishWizard(frmHouseInput* w, bool editing)
{
    const int wantedRows = rng.bounded(7);
    while (w->cmbCaption.UBound() > wantedRows) click(w, "cmdDeleteContent");
    while (w->cmbCaption.UBound() < wantedRows) click(w, "cmdAddNewContent");
    const int rows = w->cmbCaption.UBound();
    for (int i = 1; i <= rows; ++i) {
        w->cmbCaption[i]->setEditText(QStringLiteral("属性%1").arg(i));
        w->cmbContent[i]->setEditText(QStringLiteral("值%1").arg(rng.bounded(100)));
    }
    // The wizard does not read a house's floor back: it is chosen again, as a user would.
    if (racing && editing) setText(w, QStringLiteral("cmbHouseFloor"), QString::number(rng.bounded(1, 30)));
    if (!editing) {
        setText(w, QStringLiteral("cmbHouseName"), QStringLiteral("楼宇%1").arg(rng.bounded(20)));
        auto* type = w->findChild<QComboBox*>(QStringLiteral("cmbHouseType"));
        if (type && type->count() > 0) type->setCurrentIndex(rng.bounded(type->count()));
        setText(w, QStringLiteral("cmbHouseNo"), QString::number(rng.bounded(100, 3000)));
        setText(w, QStringLiteral("cmbHouseFloor"), QString::number(rng.bounded(1, 30)));
    }
    click(w, "cmdNext");
    if (editing && rng.bounded(2)) click(w, "cmdDeleteAllImage");
    const int more = rng.bounded(4);
    for (int k = 0; k < more; ++k)
        w->AddNewImage(QStringLiteral("照片%1").arg(k), QStringLiteral("说明"), picture);
    auto* images = w->findChild<ui::ListView*>(QStringLiteral("lsvImage"));
    const int pictures = images ? images->Model()->Count() : 0;
    // The description is on page 1; the counts are known only now, so it is written last.
    setText(w, QStringLiteral("txtHouseIntro"),
            QStringLiteral("rows=%1 pictures=%2").arg(rows).arg(pictures));
    pause();
    click(w, "cmdFinish");
    // The house was deleted meanwhile: the wizard kept what was entered, as a new house.
    if (editing && Forms::Find(QStringLiteral("frmHouseInput")) == w && w->InputMode() == 0 &&
        rng.bounded(2)) {
        click(w, "cmdFinish");
        say("saved a house deleted meanwhile as a new one");
    }
}

void addHouse()
{
    auto* w = qobject_cast<frmHouseInput*>(Forms::Show(QStringLiteral("frmHouseInput")));
    if (!w) return;
    w->StartInput(0);
    finishWizard(w, false);
    Forms::Unload(QStringLiteral("frmHouseInput"));
    say("saved a new house");
}

void editHouse()
{
    const QList<qint64> keys = houseKeys();
    if (keys.isEmpty()) return;
    mdlHouse::CurrentHouseID = qint32(keys[rng.bounded(int(keys.size()))]);
    auto* w = qobject_cast<frmHouseInput*>(Forms::Show(QStringLiteral("frmHouseInput")));
    if (!w) return;
    w->StartInput(1);
    finishWizard(w, true);
    Forms::Unload(QStringLiteral("frmHouseInput"));
    say("saved an edited house");
}

void deleteHouse()
{
    QWidget* list = Forms::Show(QStringLiteral("frmHouseList"));
    // A racing worker reloads first, so it deletes from what the catalogue holds now.
    if (auto* calls = dynamic_cast<ui::HouseListCalls*>(list); calls && racing) calls->StartList();
    auto* view = list ? list->findChild<ui::ListView*>(QStringLiteral("lsvHouse")) : nullptr;
    if (!view || view->Model()->Count() == 0) return;
    view->SelectRow(rng.bounded(view->Model()->Count()));
    click(list, "cmdDelete");
    say("deleted a house");
}

frmHouseType* typeWindow()
{
    return qobject_cast<frmHouseType*>(Forms::Show(QStringLiteral("frmHouseType")));
}

void selectType(frmHouseType* types)
{
    auto* view = types->findChild<ui::ListView*>(QStringLiteral("lsvType"));
    if (view && view->Model()->Count() > 0) view->SelectRow(rng.bounded(view->Model()->Count()));
}

void saveTemplate()
{
    frmHouseType* types = typeWindow();
    if (!types) return;
    selectType(types);
    click(types, "cmdContent");
    QWidget* editor = Forms::Find(QStringLiteral("frmContent"));
    if (!editor) return;
    click(editor, "cmdClear");
    const int count = rng.bounded(1, 7);
    for (int i = 1; i <= count; ++i) {
        click(editor, "cmdAddNew");
        setText(editor, QStringLiteral("txtCaption"), QStringLiteral("模板属性%1").arg(i));
        setText(editor, QStringLiteral("txtContent"), QStringLiteral("of %1").arg(count));
        click(editor, "cmdEditOK");
    }
    pause();
    click(editor, "cmdOK");
    // A template whose type went meanwhile is not saved and the editor stays open.
    Forms::Unload(QStringLiteral("frmContent"));
    say("saved a template");
}

void changeTypes()
{
    frmHouseType* types = typeWindow();
    if (!types) return;
    int what = rng.bounded(4);
    // A race keeps to a few types.
    auto* view = types->findChild<ui::ListView*>(QStringLiteral("lsvType"));
    if (racing && view && what == 0 && view->Model()->Count() >= 5) what = 1;
    if (racing && view && what == 1 && view->Model()->Count() <= 2) what = 0;
    if (what == 0) {
        click(types, "cmdAddNew");
        setText(types, QStringLiteral("txtHouseType"), QStringLiteral("类型%1").arg(rng.bounded(1000)));
        click(types, "cmdEditOK");
        say("added a type");
    } else if (what == 1) {
        selectType(types);
        click(types, "cmdDelete");
        say("deleted a type (when it had no houses)");
    } else {
        selectType(types);
        click(types, what == 2 ? "cmdUp" : "cmdDown");
        say("moved a type");
    }
}

}  // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: save_worker PROGRAM_FOLDER SEED [adds|race]\n");
        return 2;
    }
    mdlHouse::SetProgramFolder(QString::fromLocal8Bit(argv[1]));
    rng.seed(quint32(QByteArray(argv[2]).toULongLong()));
    picture = QString::fromLocal8Bit(argv[1]) + QStringLiteral("/picture.png");
    // Every question is answered Yes, every notice taken and written to stderr, where a test that
    // takes the catalogue's server away can count the saves that met it gone.
    ui::SetMsgBoxInterceptor([](const QString& text, ui::Buttons) {
        std::fprintf(stderr, "message: %s\n",
                     qPrintable(QString(text).replace(QLatin1Char('\n'), QLatin1Char(' '))));
        return ui::Answer::Yes;
    });

    windows::RegisterWindows();
    QMdiArea area;
    area.resize(1300, 900);
    Forms::SetMdiArea(&area);
    area.show();
    typeWindow();
    say("ready");
    const bool addsOnly = argc > 3 && QByteArray(argv[3]) == "adds";
    racing = argc > 3 && QByteArray(argv[3]) == "race";
    for (;;) {
        int pick = addsOnly ? 0 : rng.bounded(10);
        // A race works on the same few houses: past six, a new house gives way to a deletion.
        if (racing && pick < 3 && houseKeys().size() > 6) pick = 5;
        if (pick < 3)
            addHouse();
        else if (pick < 5)
            editHouse();
        else if (pick < 6)
            deleteHouse();
        else if (pick < 8)
            saveTemplate();
        else
            changeTypes();
        QCoreApplication::processEvents();
    }
}
