#pragma once

#include <QString>

#include "Catalogue.h"
#include "Report.h"

namespace bench {

// The deals on the benchmark's catalogue (House.db, or the server that databasePath names): the
// sales board's building gets consultants, customers and up to 1,000 open holds, the history up to
// 1,000,000 rows, once. Then, each beside the same work through SQLite or libpq alone:
//  - one deal step (a hold, from opening the catalogue to the commit);
//  - a unit's history read among all the history rows;
//  - the release of up to 1,000 expired holds in one statement;
//  - the board's building loaded with its open deals and painted into an image.
void MeasureDeals(const QString& databasePath, const CatalogueShape& shape, Report* report);

}  // namespace bench
