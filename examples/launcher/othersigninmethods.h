#pragma once

#include "signinmethod.h"

#include <QObject>
#include <QVariantList>

namespace NimblaSDK {
class AuthManager;
}

/*
 * The launcher's buttons for the sign-in methods that have no place of their
 * own on the page (the form, the social providers, the start): one per row of
 * the examples' method table. QML knows it as "otherMethods".
 */
class OtherSignInMethods : public QObject
{
    Q_OBJECT
    //! {"name", "title"} of each method.
    Q_PROPERTY(QVariantList buttons READ buttons CONSTANT)

public:
    //! \a platform: what the platform sign-ins need (the game's id there, the game centre's user id and ticket).
    explicit OtherSignInMethods(const SignInInput &platform, QObject *parent = nullptr);

    QVariantList buttons() const;
    //! Starts the method \a name with what the form holds; empty, or why there was nothing to start.
    Q_INVOKABLE QString start(NimblaSDK::AuthManager *manager, const QString &name, const QString &login,
                              const QString &password) const;

private:
    SignInInput m_platform;
};
