#pragma once

#include <termios.h>
#include <unistd.h>

#include <QString>
#include <iostream>
#include <string>

#include "Print.h"
#include "core/db/ServerLogin.h"

namespace tools {

// Reads one secret line: typed on the terminal without echo when standard input is one, otherwise
// the next line of standard input (a script hands passwords over a pipe, never on the command
// line, where every user of the machine could read them). False at the end of the input.
inline bool readSecret(const QString& prompt, QString* secret)
{
    const bool terminal = ::isatty(STDIN_FILENO) == 1;
    termios old{};
    const bool quiet = terminal && ::tcgetattr(STDIN_FILENO, &old) == 0;
    // Echo goes off before the question is shown: what is typed after it is never flushed away.
    if (quiet) {
        termios noEcho = old;
        noEcho.c_lflag &= ~tcflag_t(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &noEcho);
    }
    if (terminal) print(stderr, prompt);
    std::string line;
    const bool got = bool(std::getline(std::cin, line));
    if (quiet) {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &old);
        print(stderr, QStringLiteral("\n"));
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    *secret = QString::fromLocal8Bit(line.data(), qsizetype(line.size()));
    return got;
}

// The server's password, when libpq finds none for it, is asked for on the terminal (or read from
// standard input); three wrong answers end the attempt as a failed connection.
inline void installTerminalLogin(const QString& tool)
{
    db::SetPasswordPrompt([tool](const db::LoginRequest& request, db::LoginAnswer* answer) {
        static int refused = 0;
        if (request.wrongPassword) {
            print(stderr, QStringLiteral("%1: wrong password for %2\n").arg(tool, request.user));
            if (++refused >= 3) return false;
        }
        answer->user = request.user.isEmpty() ? request.defaultUser : request.user;
        return readSecret(
            QStringLiteral("Password for %1 on %2 (%3): ").arg(answer->user, request.host, request.database),
            &answer->password);
    });
}

}  // namespace tools
