#pragma once

#include <QObject>
#include <QString>

namespace NimblaSDK {
class AbstractSession;
}

/*
 * Signs the emulator's default player in through the library, the way a
 * launcher would, and prints the identity that the session ends up with.
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
    };

    //! The sign-in methods this demo knows, by command-line name.
    static QStringList methods();

    explicit SignInDemo(QObject *parent = nullptr);

    //! Starts signing in with \a method; finished() reports the outcome.
    void start(const QString &method, const Player &player);

Q_SIGNALS:
    void finished(int exitCode);

private:
    NimblaSDK::AbstractSession *createSession(const QString &method, const Player &player);
    void printIdentity();

    NimblaSDK::AbstractSession *m_session = nullptr;
};
