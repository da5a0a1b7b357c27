#include "terminal.h"

#include <QTextStream>

#include <termios.h>
#include <unistd.h>

#include <cstdio>

namespace Terminal {

bool isInteractive()
{
    return isatty(STDIN_FILENO) == 1;
}

QString readHidden(const QString &prompt)
{
    std::fputs(prompt.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
    termios shown{};
    const bool hide = tcgetattr(STDIN_FILENO, &shown) == 0;
    if (hide) {
        termios hidden = shown;
        hidden.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
    const QString secret = QTextStream(stdin).readLine();
    if (hide)
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
    std::fputs("\n", stderr);
    return secret;
}

} // namespace Terminal
