#pragma once

#include <QImage>
#include <QString>

class QPagedPaintDevice;

namespace sales {

class Board;

// The board on paper or in a picture: the building's name, the date and the legend above the
// floors. Pages are A4 landscape; a board wider or taller than a page goes on across pages.
int RenderBoard(const Board& board, QPagedPaintDevice* device);
bool SaveBoardPdf(const Board& board, const QString& path);
QImage BoardImage(const Board& board);
bool SaveBoardPng(const Board& board, const QString& path);

// "在售 6 套 50.0%": one legend entry as the window and the printout show it.
QString LegendText(const QString& value, int count, double share);

}  // namespace sales
