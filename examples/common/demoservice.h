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
    //! Keeps the player's settings and the journals under \a data; call it before the library is first used.
    static bool keepSettingsIn(const QDir &data);

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
