#pragma once

#include "signinmethod.h"

#include <QJsonObject>
#include <QNetworkReply>
#include <QObject>
#include <QTimer>

#include <functional>

namespace NimblaSDK {
class AbstractSession;
class AuthManager;
}

/*
 * Runs one command of nimbla-auth through an AuthManager, as a launcher
 * would, prints its result, and ends with the exit code that scripts rely on.
 */
class AuthClient : public QObject
{
    Q_OBJECT

public:
    enum ExitCode { SignedIn = 0, Refused = 1, BadUsage = 2, Unreachable = 3 };
    //! What a successful sign-in prints.
    enum class Result { Identity, Token };

    //! \a json: results as JSON; \a timeoutMs: how long any command may wait for the service.
    AuthClient(bool json, int timeoutMs, QObject *parent = nullptr);

    //! After a sign-in that prints the identity, write an attribute of the player and read it back.
    void setAttributesCheck(bool check);
    //! For a platform account without an e-mail address: give it \a email, then sign in again.
    void setEmail(const QString &email);
    void signIn(const SignInMethod &method, const SignInInput &input, bool remember, Result result = Result::Identity);
    void listProviders();
    //! Forgets the remembered session and the saved account.
    void logout();

Q_SIGNALS:
    //! Emitted once, with the exit code.
    void finished(int exitCode);

private:
    void _start(const SignInMethod &method, const SignInInput &input);
    void _watchSession();
    template <typename PlatformSession>
    void _watchEmail(PlatformSession *session);
    void _signedIn(NimblaSDK::AbstractSession *session);
    void _checkAttributes(const QJsonObject &identity, const QString &text, NimblaSDK::AbstractSession *session);
    void _whenProvidersLoaded(const std::function<void()> &next);
    void _providersAnswered(const QString &failure);
    void _signInSocial(const SignInMethod &method, SignInInput input);
    void _succeed(const QJsonObject &result, const QString &text);
    void _fail(ExitCode code, const QString &why);
    void _end(ExitCode code);
    void _exitWhenQuiet();
    void _abortTransfers();
    //! Refused, or Unreachable when the service's last answer never came.
    ExitCode _failureCode() const;

    NimblaSDK::AuthManager *m_manager;
    bool m_json;
    bool m_attributesCheck = false;
    QString m_email;
    bool m_emailSent = false;
    const SignInMethod *m_method = nullptr; //!< started again once the account has its e-mail address
    SignInInput m_input;
    Result m_result = Result::Identity;
    QTimer m_deadline;
    QTimer m_grace;
    ExitCode m_exitCode = SignedIn;
    QNetworkReply::NetworkError m_lastNetworkError = QNetworkReply::NoError;
    bool m_done = false;
    bool m_providersAnswered = false;
    QString m_providersFailure;
    std::function<void()> m_afterProviders;
};
