// Customer data stays in the sales office: a catalogue with customers and a unit held for one of
// them prints a house sheet, a board and a price list (CSV and XLSX) in which neither the
// customer's name nor the phone appears anywhere.
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include "DealWindows.h"
#include "pricelist/sheet/PriceList.h"
#include "sales/BoardOutput.h"
#include "sales/HouseSheet.h"
#include "sales/SalesBoard.h"

using namespace dealwin;

namespace {

const QString kName = QStringLiteral("欧阳娜娜");
const QString kPhone = QStringLiteral("13912345678");
const QString kNotes = QStringLiteral("只看南向高层");

QString pdfText(const QString& pdf)
{
    QProcess p;
    p.start(QStringLiteral("pdftotext"), {pdf, QStringLiteral("-")});
    if (!p.waitForFinished(30000) || p.exitCode() != 0) return QString();
    return QString::fromUtf8(p.readAllStandardOutput());
}

}  // namespace

class tst_customer_privacy : public QObject {
    Q_OBJECT

private slots:
    void no_customer_data_on_sheet_board_or_price_list()
    {
        testsupport::ProgramFolder folder;
        QVERIFY(FillCatalogue(folder));
        QVERIFY(Exec(folder, QStringLiteral("Insert Into t_Consultant (ConsultantName, Login, Active) Values "
                                            "('张顾问', 'zhang', 1)")));
        QVERIFY(
            Exec(folder, QStringLiteral("Insert Into t_Customer (CustomerName, Phone, ConsultantID, Source, "
                                        "Notes, SearchKey) Values ('%1', '%2', 1, '来访', '%3', '%4')")
                             .arg(kName, kPhone, kNotes, deals::SearchKey(kName, kPhone))));
        const qint64 customer =
            folder.Value(QStringLiteral("Select Max(CustomerID) From t_Customer")).toLongLong();
        QVERIFY(customer > 0);
        // Unit 101 held for the customer, as a hold writes it: the deal and the status.
        QVERIFY(Exec(folder,
                     QStringLiteral("Insert Into t_Deal (HouseID, CustomerID, ConsultantID, Stage, Active, "
                                    "HoldStart, HoldEnd, PriorStatus, CreatedAt) Values (1, %1, 1, 'hold', "
                                    "1, '2030-01-01 00:00:00', '2030-01-02 00:00:00', '在售', "
                                    "'2030-01-01 00:00:00')")
                         .arg(customer)));
        QVERIFY(Exec(
            folder,
            QStringLiteral("Update t_Content Set Content = '预留' Where HouseID = 1 And Caption = '状态'")));
        QTemporaryDir tmp;

        sales::HouseSheet sheet;
        QVERIFY(sheet.Load(1));
        const QString sheetPdf = tmp.filePath(QStringLiteral("sheet.pdf"));
        QVERIFY(sheet.SavePdf(sheetPdf));
        const QString sheetText = pdfText(sheetPdf);
        QVERIFY2(sheetText.contains(QStringLiteral("101")), qPrintable(sheetText));

        db::Connection connection;
        QVERIFY(db::OpenCatalogue(connection, folder.Path()));
        sales::Board board;
        QVERIFY(board.Load(connection, kBuilding, QStringLiteral("状态"), QStringLiteral("单价")));
        connection.Close();
        const QString boardPdf = tmp.filePath(QStringLiteral("board.pdf"));
        QVERIFY(sales::SaveBoardPdf(board, boardPdf));
        const QString boardText = pdfText(boardPdf);
        QVERIFY2(boardText.contains(QStringLiteral("预留")), qPrintable(boardText));

        QString error;
        const QString csv = tmp.filePath(QStringLiteral("list.csv"));
        QCOMPARE(pricelist::ExportProgramFolder(folder.Path(), csv, nullptr, &error), 4);
        QFile csvFile(csv);
        QVERIFY(csvFile.open(QIODevice::ReadOnly));
        const QString csvText = QString::fromUtf8(csvFile.readAll());
        QVERIFY(csvText.contains(QStringLiteral("预留")));
        const QString book = tmp.filePath(QStringLiteral("list.xlsx"));
        QCOMPARE(pricelist::ExportProgramFolder(folder.Path(), book, nullptr, &error), 4);
        QString bookText;
        for (const QString& part :
             {QStringLiteral("xl/worksheets/sheet1.xml"), QStringLiteral("docProps/core.xml"),
              QStringLiteral("docProps/custom.xml"), QStringLiteral("docProps/app.xml")})
            bookText += Unzip(book, part);
        QVERIFY(bookText.contains(QStringLiteral("预留")));

        for (const QString& secret : {kName, kPhone, kNotes, QStringLiteral("1391234")}) {
            QVERIFY2(!sheetText.contains(secret), qPrintable(secret));
            QVERIFY2(!boardText.contains(secret), qPrintable(secret));
            QVERIFY2(!csvText.contains(secret), qPrintable(secret));
            QVERIFY2(!bookText.contains(secret), qPrintable(secret));
        }
    }
};

QTEST_MAIN(tst_customer_privacy)
#include "tst_customer_privacy.moc"
