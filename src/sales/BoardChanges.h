#pragma once

#include <vector>

#include "sales/SalesBoard.h"

namespace sales {

// What a board read again shows differently from the one on screen, so that only those cells are
// drawn again.
struct BoardChanges {
    // The same units in the same cells under the same floor labels, each fill the same colour:
    // only the cells below need drawing. Otherwise the whole board does.
    bool sameLayout = false;
    std::vector<qint32> houses;  // units whose cell shows something else
};

// Everything a cell draws of its unit, compared: its number, type, status and price.
bool SameCell(const Unit& a, const Unit& b);
BoardChanges CompareBoards(const Board& before, const Board& after);

}  // namespace sales
