#pragma once

#include <QSet>

class QWidget;

namespace pricelist {

// The price list's writing lives in tavrelo_pricelist, a library below the windows like the data
// layer; this is its one dialog, shared by the main menu and the catalogue's list.
// Asks where to save the price list (CSV or XLSX, by the name's extension) and writes the whole
// catalogue there, or only the houses in `only` when given; tells the user how it went.
void ExportWithDialog(QWidget* parent, const QSet<qint32>* only = nullptr);

}  // namespace pricelist
