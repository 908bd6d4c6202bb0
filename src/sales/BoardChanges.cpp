#include "sales/BoardChanges.h"

namespace sales {

bool SameCell(const Unit& a, const Unit& b)
{
    return a.houseId == b.houseId && a.houseNo == b.houseNo && a.type == b.type && a.status == b.status &&
           a.price == b.price && a.statusRowId == b.statusRowId && a.dealId == b.dealId &&
           a.dealStage == b.dealStage && a.dealNote == b.dealNote && a.dealTip == b.dealTip;
}

BoardChanges CompareBoards(const Board& before, const Board& after)
{
    BoardChanges changes;
    changes.sameLayout = before.building == after.building && before.rows.size() == after.rows.size() &&
                         before.units.size() == after.units.size();
    for (size_t r = 0; changes.sameLayout && r < before.rows.size(); ++r) {
        const FloorRow& a = before.rows[r];
        const FloorRow& b = after.rows[r];
        changes.sameLayout = a.label == b.label && a.units.size() == b.units.size();
        for (size_t c = 0; changes.sameLayout && c < a.units.size(); ++c) {
            const Unit& ua = before.units[size_t(a.units[c])];
            const Unit& ub = after.units[size_t(b.units[c])];
            changes.sameLayout = ua.houseId == ub.houseId;
            if (!SameCell(ua, ub)) changes.houses.push_back(ub.houseId);
        }
    }
    if (!changes.sameLayout) {
        changes.houses.clear();
        return changes;
    }
    // A new value outside the built-in ones may move the colours of the others.
    for (const Unit& u : before.units) {
        if (before.Colour(u.status) != after.Colour(u.status)) {
            changes.sameLayout = false;
            changes.houses.clear();
            break;
        }
    }
    return changes;
}

}  // namespace sales
