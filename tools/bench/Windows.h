#pragma once

#include <QStringList>

#include "Catalogue.h"
#include "Report.h"

// The operations measured through the program's real windows, inside an MDI frame on the
// offscreen platform, each beside its SQLite-only floor.
namespace bench {

struct WindowContext {
    QString databasePath;
    CatalogueShape shape;
    Report* report = nullptr;
};

// Registers the windows, shows the frame and measures. Adds its operations and problems to
// the report.
void MeasureWindows(WindowContext& context);

}  // namespace bench
