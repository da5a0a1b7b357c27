#pragma once

#include <QObject>
#include <QString>

namespace NimblaSDK {
class AuthManager;
}

/*
 * Signs the emulator's default player in through the library's AuthManager,
 * the way a launcher does, and prints the identity that the current session
 * ends up with.
 */
class SignInDemo : public QObject
{
    Q_OBJECT

public:
    struct Player
    {
        QString login;
        QString password;
        QString jwt;
        QString socialProvider;     //!< the provider's name, for the OAuth2 social sign-in
        QString socialProviderLink; //!< the provider's login page, for the plain social sign-in
        QString steamAppId = QStringLiteral("700100");
    };

    //! The sign-in methods this demo knows, by command-line name.
    static QStringList methods();

    explicit SignInDemo(QObject *parent = nullptr);

    //! Signs in with \a method, remembering the session when \a remember is set; finished() reports the outcome.
    void signIn(const QString &method, const Player &player, bool remember);
    //! Restores the remembered session, as a launcher does at its start.
    void restore();
    //! Signs in with the one-time password left for the launcher.
    void signInWithOtp();

Q_SIGNALS:
    void finished(int exitCode);

private:
    void _watchSessions();
    void _fail(const QString &message);
    void printIdentity();

    NimblaSDK::AuthManager *m_manager;
};
