#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

namespace NimblaSDK {
class AuthManager;
}

//! What a player typed or picked, for whichever method needs it.
struct SignInInput
{
    QString login;
    QString password;
    QString jwt;          //!< a ready token; empty: the one the launcher keeps in its settings
    QString provider;     //!< a social provider's title, for the OAuth2 social sign-in
    QString providerLink; //!< that provider's login page, for the plain social sign-in
    QString appId;        //!< the game's id at a platform (Steam, Stone), for the platform sign-ins
    QString uid;          //!< the user id the game centre handed the launcher
    QString ticket;       //!< the ticket the game centre handed the launcher
};

/*
 * One sign-in method of the examples. The command-line client's --method
 * names, its help and the launcher's buttons all come from the one table in
 * signinmethod.cpp, so a new method is one row there.
 */
struct SignInMethod
{
    enum Kind {
        Password, //!< login and password: the launcher's form
        Account,  //!< e-mail and password of an account elsewhere, on a button of its own
        Platform, //!< a game platform's client on this machine
        Token,    //!< a ready JWT
        Social,   //!< a social provider in the browser
        Startup,  //!< what the launcher remembers or was left: tried when it starts
    };

    const char *name;  //!< on the command line
    //! On the launcher's button, translated there (context "SignInMethod"), and in the help.
    const char *title;
    Kind kind;
    //! Starts the sign-in through \a manager; false when there is nothing to start it with.
    bool (*start)(NimblaSDK::AuthManager &manager, const SignInInput &input);
    const char *nothingToStart; //!< why start() returned false; translated like the title

    static const QVector<SignInMethod> &all();
    //! Null when there is no method of that name.
    static const SignInMethod *find(const QString &name);
    static QStringList names();
    //! Whether the player types a password for it.
    bool asksForPassword() const { return kind == Password || kind == Account; }
};
