#pragma once

#include <QString>

#include "Catalogue.h"
#include "Report.h"

namespace bench {

// The price list on the benchmark's catalogue: the whole catalogue exported as CSV and as XLSX
// (floor: SQLite alone reading the rows the export reads), and a sheet of up to 10,000 new units
// imported into an empty catalogue, from reading the file to the commit (floor: SQLite alone
// inserting the same rows with prepared statements in one transaction).
void MeasurePriceLists(const QString& folder, const CatalogueShape& shape, Report* report);

}  // namespace bench
