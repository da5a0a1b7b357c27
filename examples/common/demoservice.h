#pragma once

#include "emulatorprocess.h"
#include "signinmethod.h"

#include <QDir>
#include <QString>
#include <QTemporaryDir>

/*
 * The login-service emulator as the examples run it: private, on a free port,
 * with its state kept in a data folder, so that what one run issued (a
 * remembered session's refresh token) the next run still honours.
 */
class DemoService
{
public:
    //! Keeps the player's settings and the journals under \a data. It sets environment variables, so call it
    //! before the application object exists: the library's threads read the environment without Qt's lock.
    static bool keepSettingsIn(const QDir &data);
    //! The value of the option \a name ("--data" or "--data=") in \a argv; for what has to be known before the
    //! application object, and so before the command line is parsed.
    static QString earlyOption(int argc, char *argv[], const char *name);

    //! Starts \a emulator with its state in \a data and loads its configuration; false (with a warning) on failure.
    bool start(const QString &emulator, const QDir &data);
    QString configPath() const;

    //! What the stand-in platform libraries and the emulator's game-centre player need: the game's id, the
    //! game centre's user id and ticket.
    static SignInInput platformPlayer();

    //! The emulator's default player, with a fresh token.
    SignInInput player();
    //! Leaves a fresh one-time password where the launcher looks for it, as the launcher's web page would.
    bool leaveOtp();

private:
    QTemporaryDir m_workspace;
    EmulatorProcess m_emulator;
};
