#pragma once

#include <QString>
#include <cstdio>

namespace tools {

// What a command-line tool says, in the terminal's encoding and at once (a progress line must not
// wait in a buffer behind the work it reports on).
inline void print(FILE* stream, const QString& text)
{
    std::fputs(text.toLocal8Bit().constData(), stream);
    std::fflush(stream);
}

}  // namespace tools
