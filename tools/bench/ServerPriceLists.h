#pragma once

#include <QString>

#include "Catalogue.h"
#include "Report.h"

namespace bench {

// The price list on the shared catalogue that folder's settings name (uri: the same server, for
// the floor): the whole catalogue exported as CSV (floor: libpq alone reading the rows the export
// reads), and 10,000 new units with five attribute rows and two pictures each imported (floor:
// libpq alone inserting the same rows and pictures, pipelined in one transaction). The imported
// units are taken out again before each run and at the end.
void MeasureServerPriceLists(const QString& folder, const QString& uri, const CatalogueShape& shape,
                             Report* report);

}  // namespace bench
