// The printed house sheet: rendered to PDF from the board's context menu, from the 销售 menu's
// window and through the print path, then read back with poppler's tools (pdfinfo, pdftotext,
// pdffonts, pdftoppm) to see the text, the page count, the embedded fonts and the pictures' shape.
#include <QAction>
#include <QDate>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QPrinter>
#include <QPushButton>
#include <QRegularExpression>
#include <QStandardPaths>

#include "SalesFixture.h"
#include "core/db/Connection.h"
#include "core/db/ServerFiles.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/PrintDialog.h"
#include "sales/HouseSheet.h"
#include "windows/RegisterWindows.h"
#include "windows/frmMain.h"

using namespace salestest;

namespace {

const QString kBuilding = QStringLiteral("翠湖苑一号楼");

void fillCatalogue(const testsupport::ProgramFolder& f)
{
    Exec(f, QStringLiteral("Insert Into t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) Values "
                           "(1, 1, '三室两厅', '', '')"));
    AddHouse(f, 5, kBuilding, QStringLiteral("801"), QStringLiteral("8"), 1,
             QStringLiteral("南北通透，采光充足，步行五分钟可到地铁站。"));
    AddRow(f, 5, QStringLiteral("朝向"), QStringLiteral("南北通透"), 1);
    AddRow(f, 5, QStringLiteral("面积"), QStringLiteral("128平方米"), 2);
    AddRow(f, 5, QStringLiteral("单价"), QStringLiteral("18800元/平方米"), 3);
    AddRow(f, 5, QStringLiteral("状态"), QStringLiteral("在售"), 4);
    // Five pictures: a wide one, a tall one, an ordinary one, one whose file is gone, and a fifth
    // that the sheet has no room for.
    testsupport::MakePicture(f.File(QStringLiteral("Images/000005_0001.png")), 800, 200, Qt::red);
    testsupport::MakePicture(f.File(QStringLiteral("Images/000005_0002.png")), 200, 800, Qt::blue);
    testsupport::MakePicture(f.File(QStringLiteral("Images/000005_0003.png")), 400, 300, Qt::green);
    const QStringList titles = {QStringLiteral("客厅全景"), QStringLiteral("主卧"), QStringLiteral("厨房"),
                                QStringLiteral("阳台"), QStringLiteral("地下车库")};
    for (int i = 0; i < titles.size(); ++i)
        Exec(f, QStringLiteral("Insert Into t_Image (HouseID, Caption, Intro, ImageFile, List) "
                               "Values (5, '%1', '说明', '000005_%2.png', %3)")
                    .arg(titles[i])
                    .arg(i + 1, 4, 10, QLatin1Char('0'))
                    .arg(i + 1));
}

int pages(const QString& pdf)
{
    const QString info = Output(QStringLiteral("pdfinfo"), {pdf});
    const auto m = QRegularExpression(QStringLiteral("Pages:\\s+(\\d+)")).match(info);
    return m.hasMatch() ? m.captured(1).toInt() : -1;
}

QString text(const QString& pdf)
{
    return Output(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), pdf, QStringLiteral("-")});
}

// Checks what every sheet of house 5 must say.
void checkSheetOfHouse5(const QString& pdf)
{
    QVERIFY2(QFileInfo(pdf).size() > 0, qPrintable(pdf));
    QCOMPARE(pages(pdf), 1);
    QVERIFY(Output(QStringLiteral("pdfinfo"), {pdf}).contains(QStringLiteral("(A4)")));
    const QString t = text(pdf);
    for (const QString& expected :
         {kBuilding, QStringLiteral("801"), QStringLiteral("楼层"), QStringLiteral("三室两厅"),
          QStringLiteral("朝向"), QStringLiteral("南北通透"), QStringLiteral("面积"),
          QStringLiteral("128平方米"), QStringLiteral("单价"), QStringLiteral("18800元/平方米"),
          QStringLiteral("状态"), QStringLiteral("在售"), QStringLiteral("步行五分钟可到地铁站"),
          QStringLiteral("客厅全景"), QStringLiteral("主卧"), QStringLiteral("厨房"), QStringLiteral("阳台"),
          QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"))})
        QVERIFY2(t.contains(expected), qPrintable(expected + QStringLiteral(" missing in:\n") + t));
    QVERIFY2(!t.contains(QStringLiteral("地下车库")), "a fifth picture was printed");
    // The rows in their order.
    QVERIFY(t.indexOf(QStringLiteral("朝向")) < t.indexOf(QStringLiteral("面积")));
    QVERIFY(t.indexOf(QStringLiteral("面积")) < t.indexOf(QStringLiteral("单价")));
    QVERIFY(t.indexOf(QStringLiteral("单价")) < t.indexOf(QStringLiteral("在售")));
    // The floor is printed as its number beside its caption.
    QVERIFY2(t.contains(QRegularExpression(QStringLiteral("楼层：\\s*8"))), qPrintable(t));

    // Every font is embedded, so the Chinese text shows on a PC without these fonts.
    const QStringList fonts =
        Output(QStringLiteral("pdffonts"), {pdf}).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QVERIFY2(fonts.size() >= 3, qPrintable(fonts.join(QLatin1Char('\n'))));
    for (int i = 2; i < fonts.size(); ++i) {
        // name type encoding emb sub uni object ID: the "emb" column says yes.
        const QStringList columns = fonts[i].split(QLatin1Char(' '), Qt::SkipEmptyParts);
        QVERIFY2(columns.size() >= 7 && columns[columns.size() - 5] == QStringLiteral("yes"),
                 qPrintable(fonts[i]));
    }
}

// The bounding box of the pixels close to a colour on a rendered page.
QRect boxOf(const QImage& page, const QColor& colour)
{
    QRect box;
    for (int y = 0; y < page.height(); ++y)
        for (int x = 0; x < page.width(); ++x) {
            const QColor c = page.pixelColor(x, y);
            if (std::abs(c.red() - colour.red()) < 40 && std::abs(c.green() - colour.green()) < 40 &&
                std::abs(c.blue() - colour.blue()) < 40)
                box |= QRect(x, y, 1, 1);
        }
    return box;
}

}  // namespace

class tst_house_sheet : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        for (const char* tool : {"pdfinfo", "pdftotext", "pdffonts", "pdftoppm"})
            QVERIFY2(
                !QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty(),
                qPrintable(QStringLiteral("%1 (poppler-utils) is not installed").arg(QLatin1String(tool))));
    }

    void init()
    {
        folder_ = std::make_unique<testsupport::ProgramFolder>();
        fillCatalogue(*folder_);
        messages_ = std::make_unique<testsupport::MsgBoxRecorder>();
        mdlHouse::CurrentHouseID = 0;
    }
    void cleanup()
    {
        messages_.reset();
        folder_.reset();
        ui::SetSaveFileDialogInterceptor({});
        ui::SetPrintDialogInterceptor({});
    }

    void savedFromTheBoardsContextMenu()
    {
        Frame frame;
        frmSalesBoard* board = frame.OpenBoard();
        QVERIFY(board);
        const QString pdf = folder_->File(QStringLiteral("房源单页"));  // no extension: .pdf is added
        QString filter;
        ui::SetSaveFileDialogInterceptor([&](const QString& f) {
            filter = f;
            return pdf;
        });
        QVERIFY(PickFromCellMenu(board, 5, {QStringLiteral("保存房源单页为 PDF…")}));
        QVERIFY(filter.contains(QStringLiteral("*.pdf")));
        checkSheetOfHouse5(pdf + QStringLiteral(".pdf"));
        QCOMPARE(messages_->Texts(), QStringList());
    }

    void printedThroughThePrintDialog()
    {
        Frame frame;
        frmSalesBoard* board = frame.OpenBoard();
        const QString pdf = folder_->File(QStringLiteral("printed.pdf"));
        int asked = 0;
        // The printer the user picks here is a PDF file, so the print path can be read back.
        ui::SetPrintDialogInterceptor([&](QPrinter& printer) {
            ++asked;
            printer.setOutputFormat(QPrinter::PdfFormat);
            printer.setOutputFileName(pdf);
            return true;
        });
        QVERIFY(PickFromCellMenu(board, 5, {QStringLiteral("打印房源单页…")}));
        QCOMPARE(asked, 1);
        checkSheetOfHouse5(pdf);
        // Cancelled: nothing printed.
        QFile::remove(pdf);
        ui::SetPrintDialogInterceptor([&](QPrinter& printer) {
            printer.setOutputFormat(QPrinter::PdfFormat);
            printer.setOutputFileName(pdf);
            return false;
        });
        QVERIFY(PickFromCellMenu(board, 5, {QStringLiteral("打印房源单页…")}));
        QVERIFY(!QFileInfo::exists(pdf));
    }

    void picturesKeepTheirShape()
    {
        sales::HouseSheet sheet;
        QVERIFY(sheet.Load(5));
        QCOMPARE(sheet.Data().pictures.size(), size_t(4));
        const QString pdf = folder_->File(QStringLiteral("shape.pdf"));
        QVERIFY(sheet.SavePdf(pdf));
        // Rendered by poppler, not by the program: what a customer's printer would get.
        QProcess render;
        render.start(QStringLiteral("pdftoppm"),
                     {QStringLiteral("-r"), QStringLiteral("60"), QStringLiteral("-png"),
                      QStringLiteral("-singlefile"), pdf, folder_->File(QStringLiteral("page"))});
        QVERIFY(render.waitForFinished(30000) && render.exitCode() == 0);
        const QImage page(folder_->File(QStringLiteral("page.png")));
        QVERIFY(!page.isNull());
        const QRect wide = boxOf(page, Qt::red);
        const QRect tall = boxOf(page, Qt::blue);
        const QRect plain = boxOf(page, Qt::green);
        QVERIFY(!wide.isEmpty() && !tall.isEmpty() && !plain.isEmpty());
        const double wideRatio = double(wide.width()) / wide.height();
        const double tallRatio = double(tall.width()) / tall.height();
        const double plainRatio = double(plain.width()) / plain.height();
        QVERIFY2(std::abs(wideRatio - 4.0) < 0.4, qPrintable(QString::number(wideRatio)));
        QVERIFY2(std::abs(tallRatio - 0.25) < 0.04, qPrintable(QString::number(tallRatio)));
        QVERIFY2(std::abs(plainRatio - 4.0 / 3.0) < 0.12, qPrintable(QString::number(plainRatio)));
        // Fitted: as wide or as tall as the box, whichever it reaches first. The tall and the
        // ordinary picture reach the box's height, the wide one its width.
        QVERIFY2(std::abs(tall.height() - plain.height()) <= 2,
                 qPrintable(QStringLiteral("%1 %2").arg(tall.height()).arg(plain.height())));
        QVERIFY(wide.width() > plain.width());
        QVERIFY(wide.height() < plain.height() / 2);
    }

    void aPictureMissingHereIsFetchedFromTheSharedCatalogue()
    {
        const QString name = QStringLiteral("Images/000005_0001.png");
        const QByteArray original = [&] {
            QFile file(folder_->File(name));
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        }();
        QVERIFY(!original.isEmpty());
        if (!folder_->ServerUri().isEmpty()) {
            // Stored on the server by the PC that added it; this PC has never shown it.
            db::Connection c;
            QVERIFY(c.OpenServer(folder_->ServerUri()));
            QVERIFY(
                db::PutServerFile(c, QStringLiteral("Images"), QStringLiteral("000005_0001.png"), original));
        }
        QVERIFY(QFile::remove(folder_->File(name)));
        sales::HouseSheet sheet;
        QVERIFY(sheet.Load(5));
        QCOMPARE(sheet.Data().pictures.front().file, mdlHouse::ProgramPath(QLatin1Char('/') + name));
        const QString pdf = folder_->File(QStringLiteral("fetched.pdf"));
        QVERIFY(sheet.SavePdf(pdf));
        QVERIFY(QFileInfo(pdf).size() > 0);
        if (folder_->ServerUri().isEmpty()) {
            // House.db has no other copy: the picture is simply not there, and the sheet still prints.
            QVERIFY(!QFileInfo::exists(folder_->File(name)));
        } else {
            QFile fetched(folder_->File(name));
            QVERIFY(fetched.open(QIODevice::ReadOnly));
            QCOMPARE(fetched.readAll(), original);
        }
    }

    void aHouseWithManyRowsGoesOnToASecondPage()
    {
        for (int i = 1; i <= 80; ++i)
            AddRow(*folder_, 5, QStringLiteral("属性%1").arg(i, 2, 10, QLatin1Char('0')),
                   QStringLiteral("第%1项").arg(i), 10 + i);
        sales::HouseSheet sheet;
        QVERIFY(sheet.Load(5));
        const QString pdf = folder_->File(QStringLiteral("long.pdf"));
        QVERIFY(sheet.SavePdf(pdf));
        const int count = pages(pdf);
        QVERIFY2(count >= 2, qPrintable(QString::number(count)));
        const QString t = text(pdf);
        QVERIFY(t.contains(QStringLiteral("第80项")));
        // Every page has its footer with its number, and no page is missing or extra.
        QVERIFY(t.contains(QStringLiteral("第 %1 页").arg(count)));
        QVERIFY(!t.contains(QStringLiteral("第 %1 页").arg(count + 1)));
        QCOMPARE(t.count(QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"))), count);
        QVERIFY(t.contains(QStringLiteral("地下车库")) == false);
    }

    void theMenuEntryShowsTheCurrentHouse()
    {
        windows::RegisterWindows();
        frmMain main;
        main.show();
        auto* entry = main.findChild<QAction*>(QStringLiteral("mnuHouseSheet"));
        QVERIFY(entry);

        // No house chosen yet: the window says so and offers nothing to print.
        entry->trigger();
        auto* sheet = qobject_cast<frmHouseSheet*>(Forms::Find(QStringLiteral("frmHouseSheet")));
        QVERIFY(sheet);
        QVERIFY(sheet->lblHouse->text().contains(QStringLiteral("没有选定房源")));
        QVERIFY(!sheet->cmdSave->isEnabled());
        QVERIFY(!sheet->cmdPrint->isEnabled());

        mdlHouse::CurrentHouseID = 5;
        entry->trigger();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        sheet = qobject_cast<frmHouseSheet*>(Forms::Find(QStringLiteral("frmHouseSheet")));
        QVERIFY(sheet);
        QCOMPARE(sheet->HouseID(), 5);
        QVERIFY(sheet->lblHouse->text().contains(QStringLiteral("801")));
        QVERIFY(sheet->picPages->pixmap().height() >
                sheet->picPages->pixmap().width());  // one A4 page, upright
        const QString pdf = folder_->File(QStringLiteral("menu.pdf"));
        ui::SetSaveFileDialogInterceptor([&](const QString&) { return pdf; });
        QVERIFY(testsupport::Click(sheet, QStringLiteral("cmdSave")));
        checkSheetOfHouse5(pdf);

        // A house deleted meanwhile: a message, no file.
        Exec(*folder_, QStringLiteral("Delete From t_House Where HouseID = 5"));
        QFile::remove(pdf);
        QVERIFY(testsupport::Click(sheet, QStringLiteral("cmdSave")));
        QVERIFY(!QFileInfo::exists(pdf));
        QCOMPARE(messages_->Texts().size(), 1);
        main.close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void anUnwritablePlaceGivesAMessage()
    {
        sales::HouseSheet sheet;
        QVERIFY(sheet.Load(5));
        QVERIFY(!sheet.SavePdf(folder_->File(QStringLiteral("no/such/folder/x.pdf"))));
        ui::SetSaveFileDialogInterceptor(
            [&](const QString&) { return folder_->File(QStringLiteral("no/such/x.pdf")); });
        sales::SaveHouseSheet(nullptr, 5);
        QCOMPARE(messages_->Texts().size(), 1);
        QVERIFY(messages_->Texts().first().contains(QStringLiteral("无法写入")));
    }

private:
    std::unique_ptr<testsupport::ProgramFolder> folder_;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages_;
};

QTEST_MAIN(tst_house_sheet)
#include "tst_house_sheet.moc"
