#pragma once

#include <QImage>
#include <QString>
#include <QStringList>
#include <functional>
#include <vector>

class QPainter;
class QPagedPaintDevice;
class QWidget;

// The printed house sheet: one A4 page (more when a house has very many rows) for a customer to
// take away, with the house's facts, every attribute row in order, the description, up to four of
// its pictures with their titles, and the date.
namespace sales {

struct SheetPicture {
    QString title;
    QString file;  // full path in the Images folder
};

struct SheetData {
    qint32 houseId = 0;
    QString building;
    QString houseNo;
    QString floor;  // "" when the house has none
    QString type;
    QString intro;
    std::vector<std::pair<QString, QString>> rows;
    std::vector<SheetPicture> pictures;  // at most four
};

class HouseSheet {
public:
    static constexpr int kMaxPictures = 4;

    // Reads the house (three statements on a connection of its own). False when the house is not
    // in the catalogue.
    bool Load(qint32 houseId);
    const SheetData& Data() const { return data_; }

    // Lays the sheet out on A4 pages of the device. Returns the number of pages, 0 on failure.
    int Render(QPagedPaintDevice* device) const;
    // Writes the sheet as a PDF with its fonts embedded. Returns false when the file cannot be
    // written.
    bool SavePdf(const QString& path) const;
    // The pages as pictures at the given resolution, for the preview window.
    std::vector<QImage> Pages(int dpi) const;

private:
    // Paints page after page in points (1/72 inch) on an A4 page; newPage starts the next one.
    int paint(QPainter& painter, const std::function<bool()>& newPage) const;
    // Its parts, top to bottom. Each takes and returns the height reached on the page, -1 when a
    // new page could not be started.
    double paintHeading(QPainter& painter) const;
    double paintRows(QPainter& painter, double y, const std::function<bool()>& nextPage) const;
    double paintIntro(QPainter& painter, double y, const std::function<bool()>& nextPage) const;
    double paintPictures(QPainter& painter, double y, const std::function<bool()>& nextPage) const;

    SheetData data_;
};

// The sheet of one house from the board or the menu: asks for the PDF's name, or opens the
// system's print dialog. Messages go through the message box; nothing is written on cancel.
void SaveHouseSheet(QWidget* parent, qint32 houseId);
void PrintHouseSheet(QWidget* parent, qint32 houseId);

}  // namespace sales
