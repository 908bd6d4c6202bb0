// One new house saved through the real wizard, offscreen, in a process of its own, so that a test
// can run it as another user (one that may not write House.db). Prints every message the program
// shows and then what the wizard holds afterwards.
//
//   wizard_once PROGRAM_FOLDER PICTURE
#include <QApplication>
#include <QComboBox>
#include <QMdiArea>
#include <QPlainTextEdit>
#include <QPushButton>
#include <cstdio>

#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/MsgBox.h"
#include "entry/frmHouseInput.h"
#include "windows/RegisterWindows.h"

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: wizard_once PROGRAM_FOLDER PICTURE\n");
        return 2;
    }
    mdlHouse::SetProgramFolder(QString::fromLocal8Bit(argv[1]));
    ui::SetMsgBoxInterceptor([](const QString& text, ui::Buttons) {
        std::printf("message: %s\n", qPrintable(QString(text).replace(QLatin1Char('\n'), QLatin1Char(' '))));
        return ui::Answer::Yes;
    });
    windows::RegisterWindows();
    QMdiArea area;
    area.resize(1300, 900);
    Forms::SetMdiArea(&area);
    area.show();
    auto* w = qobject_cast<frmHouseInput*>(Forms::Show(QStringLiteral("frmHouseInput")));
    if (!w) return 1;
    w->StartInput(0);
    w->cmbHouseName->setEditText(QStringLiteral("新楼"));
    w->cmbHouseType->setCurrentIndex(0);
    w->cmbHouseNo->setEditText(QStringLiteral("301"));
    w->cmbHouseFloor->setEditText(QStringLiteral("3"));
    w->txtHouseIntro->setPlainText(QStringLiteral("说明"));
    w->cmbCaption[1]->setEditText(QStringLiteral("朝向"));
    w->cmbContent[1]->setEditText(QStringLiteral("南"));
    w->cmbCaption[2]->setEditText(QStringLiteral("面积"));
    w->cmbContent[2]->setEditText(QStringLiteral("90"));
    w->findChild<QPushButton*>(QStringLiteral("cmdNext"))->click();
    w->AddNewImage(QStringLiteral("客厅"), QStringLiteral("大"), QString::fromLocal8Bit(argv[2]));
    w->findChild<QPushButton*>(QStringLiteral("cmdFinish"))->click();
    const bool open = Forms::Find(QStringLiteral("frmHouseInput")) == w;
    std::printf("open=%d\n", open ? 1 : 0);
    if (open) {
        int rows = 0;
        for (int i = 1; i <= w->cmbCaption.UBound(); ++i)
            if (!w->cmbCaption[i]->currentText().isEmpty()) ++rows;
        std::printf("name=%s rows=%d pictures=%d\n", qPrintable(w->cmbHouseName->currentText()), rows,
                    int(w->lsvImage->Model()->Count()));
    }
    std::fflush(stdout);
    return 0;
}
