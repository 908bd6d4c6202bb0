#pragma once

#include <QString>

// The music file of a house type: which name it gets in the Music folder, and the copy there.
namespace TypeMusic {

// The bare file name of a chosen path: the part after the last folder separator (the whole text
// when it has none, empty for an empty text). On Windows both "\" and "/" separate folders; on
// other systems only "/" does, and a "\" is an ordinary character of a file name there.
QString FileName(const QString& path);

// Copies source over destination, replacing a file of that name. Copying a file onto itself
// (the same path, a link to it, or the same file under another name) leaves it as it is and
// counts as done. Returns false when nothing could be copied; callers ignore that.
bool CopyReplacing(const QString& source, const QString& destination);

}  // namespace TypeMusic
