#pragma once

#include <QString>

namespace Terminal {

//! Whether standard input is a terminal that a person types at.
bool isInteractive();
//! Asks for a secret on the terminal, without showing what is typed.
QString readHidden(const QString &prompt);

} // namespace Terminal
