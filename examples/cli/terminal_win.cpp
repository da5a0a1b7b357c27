#include "terminal.h"

#include <QTextStream>

#include <windows.h>

#include <cstdio>
#include <io.h>

namespace Terminal {

bool isInteractive()
{
    return _isatty(_fileno(stdin)) != 0;
}

QString readHidden(const QString &prompt)
{
    std::fputs(prompt.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD shown = 0;
    const bool hide = GetConsoleMode(input, &shown) != 0;
    if (hide)
        SetConsoleMode(input, shown & ~DWORD(ENABLE_ECHO_INPUT));
    const QString secret = QTextStream(stdin).readLine();
    if (hide)
        SetConsoleMode(input, shown);
    std::fputs("\n", stderr);
    return secret;
}

} // namespace Terminal
