#pragma once

#include <QString>

#include "Catalogue.h"
#include "Report.h"

namespace bench {

// The sales report over the benchmark's catalogue with a history of ten status changes per house
// (1,000,000 for 100,000 houses: deal steps over one year) and a price on every house: one month and the
// whole year, each beside SQLite alone (or libpq alone on a server) running the same aggregate statements
// with the same values. The history is written into a copy of the catalogue, so the other
// measurements see the catalogue they always saw.
void MeasureSalesReport(const QString& folder, const CatalogueShape& shape, Report* report);

}  // namespace bench
