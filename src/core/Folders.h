#pragma once

#include <QString>

namespace folders {

// The program folder a start uses when none is named (no --folder, no TAVRELO_FOLDER): the
// program itself and every command-line tool choose it by this one rule.
QString DefaultProgramFolder();

}  // namespace folders
