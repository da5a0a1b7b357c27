#pragma once

#include "nimblaauth_export.h"

#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QVariantMap>

namespace NimblaSDK {

struct FailureRow;
class ServiceReply;

/*!
 * The base of every login method: the signed-in identity, published as
 * properties and mirrored into the persistent settings, and the shared way
 * of reporting success and failure.
 *
 * A session announces success with loginFinished() and failure with
 * error(); refreshed() carries {"access_token": jwt} whenever a token is
 * accepted.
 *
 * \code
 * auto *session = new JwtLoginSession(this);
 * connect(session, &AbstractSession::loginFinished, this, [session] { show(session->userName()); });
 * connect(session, &AbstractSession::error, this, &Launcher::showError);
 * session->setJwtToken(jwt);
 * session->tryLogin();
 * \endcode
 */
class NIMBLAAUTH_EXPORT AbstractSession : public QObject
{
    Q_OBJECT
    //! Always empty: no sign-in method sets it any more. It is kept for interfaces
    //! that bind to it; the session's token is \ref jwt.
    Q_PROPERTY(QString token READ token NOTIFY tokenChanged)
    //! The account's access key at the login service, from the token's
    //! "nimbla_login_access_key" claim. A password sign-in whose token has none is
    //! not finished: the service wants its privacy policy accepted first (see
    //! NimblaLoginSession::privatePolicyIsNeeded()).
    Q_PROPERTY(QString accessKey READ accessKey NOTIFY accessKeyChanged)
    //! The signed-in player's e-mail address, from the token's "email" claim.
    //! Empty when the account has none; that is when the Steam and Stone sessions
    //! ask for one with needSendEmail(). The password sessions declare a login
    //! property of their own, the login the player typed.
    Q_PROPERTY(QString login READ login NOTIFY loginChanged)
    //! The player's id at the login service, from the token's "sub" claim: what
    //! UserAttributes::setUserID() takes. Empty until a token is accepted, and after
    //! a sign-in whose token belongs to another login project.
    Q_PROPERTY(QString userId READ userId NOTIFY userIdChanged)
    //! The name to show the player: the token's "username" claim, or the player's
    //! Steam name for the Steam sessions.
    Q_PROPERTY(QString userName READ userName NOTIFY userNameChanged)
    //! The token of the sign-in, which the launcher sends as the player's bearer
    //! token (HttpApiRequester::authorized()). It is set when a token arrives,
    //! before the token is checked: after error() it may hold the refused token, so
    //! use it only after loginFinished() or refreshed().
    Q_PROPERTY(QString jwt READ jwt NOTIFY jwtChanged)
    //! The publisher id of the account, from the token's "publisher_id" claim, as
    //! decimal text; "0" when the token has none.
    Q_PROPERTY(QString merchantId READ merchantId NOTIFY merchantIdChanged)

public:
    //! Creates a session that has not signed in; checkLoginType() or tryLogin()
    //! starts it. The launcher usually lets AuthManager create its sessions.
    explicit AbstractSession(QObject *parent);

    //! \sa token
    QString token() const;
    //! \sa accessKey
    QString accessKey() const;
    //! \sa login
    QString login() const;
    //! \sa userId
    QString userId() const;
    //! \sa userName
    QString userName() const;
    //! \sa jwt
    QString jwt() const;
    //! \sa merchantId
    QString merchantId() const;
    //! The player's account at the external platform they signed in with (the
    //! token's "external_account_id" claim), empty for the login service's own
    //! accounts; mirrored into the settings and the error reports' tags.
    QString externalUserId() const;
    //! 0 until the widget settings answer, then 1 for direct and 2 for proxy login.
    int loginType() const;
    //! Whether the failure that error() last told of left the service unheard: not reached, an answer
    //! cut short, or a server error (5xx). Trying again later may succeed; a refusal is not transient.
    bool failedTransiently() const;

    //! Asks the service how the project logs in, then calls tryLogin(). When the
    //! project's widget settings cannot be loaded, error() says "Failed load Nimbla
    //! Login settings" and tryLogin() is not called.
    void checkLoginType();
    //! Starts a sign-in with what the session was given; it ends in loginFinished()
    //! or error(), or in a question to the player first (captchaIsNeeded(),
    //! needSendEmail()). Each call is an attempt of its own.
    virtual void tryLogin() = 0;

Q_SIGNALS:
    //! A token was accepted or renewed: \a sessionParameters holds it under
    //! "access_token", with the OAuth2 sessions' "refresh_token" beside it. The
    //! manager saves a remembered session here; a launcher that calls the service
    //! itself hands the new token to its HttpApiRequester here.
    void refreshed(const QVariantMap &sessionParameters);
    //! The attempt failed. \a errorMsg is the text for the player: the service's
    //! own words where it gave some, else the library's, the player's texts among
    //! them in the language that installTranslator() chose. It may be empty (a
    //! one-time password that the service refused): show a message of the
    //! launcher's own then. failedTransiently() tells whether trying again later
    //! may help.
    void error(const QString &errorMsg);
    //! The player is signed in: jwt and the identity properties are set, and the
    //! launcher lets the player in. The OAuth2 sessions finish even with a token of
    //! another login project, whose identity stays empty: check userId if that
    //! matters.
    void loginFinished();
    //! Never emitted; see \ref token.
    void tokenChanged(const QString &token);
    //! Announces a new \ref accessKey.
    void accessKeyChanged(const QString &accessKey);
    //! Announces \ref login at every accepted token, changed or not.
    void loginChanged(const QString &login);
    //! Announces a new \ref userId.
    void userIdChanged(const QString &userId);
    //! Announces \ref userName at every accepted token, changed or not; the
    //! argument is the new name.
    void userNameChanged(const QString &userId);
    //! Announces a new \ref jwt, before the token is checked.
    void jwtChanged(const QString &jwt);
    //! Announces a new externalUserId().
    void externalUserIdChanged(const QString &externalUserId);
    //! Announces \ref merchantId at every accepted token, changed or not.
    void merchantIdChanged(const QString &merchantId);

public Q_SLOTS:
    //! Renews the sign-in without the player, where the method can (the OAuth2
    //! sessions, from their refresh token). Here it fails at once with error()
    //! "Session timeout. Please, login again.": show the sign-in form.
    virtual void refresh();
    //! Called by AuthManager before it deletes the session. The identity stays as
    //! it is; the password sessions forget their saved account here, and this base
    //! does nothing.
    virtual void logout();

protected:
    //! Stores \ref token in the settings and announces it on a change.
    void _setToken(const QString &token);
    //! Stores \ref accessKey in the settings and announces it on a change.
    void _setAccessKey(const QString &accessKey);
    //! Stores \ref login in the settings and as the log's user name, and announces it.
    void _setLogin(const QString &login);
    //! Stores \ref userId in the settings and announces it on a change.
    void _setUserId(const QString &userId);
    //! Stores externalUserId() in the settings and announces it on a change.
    void _setExternalUserId(const QString &externalUserId);
    //! Stores \ref jwt in the settings and announces it on a change.
    void _setJwt(const QString &jwt);
    //! Stores \ref userName in the settings and announces it.
    void _setUserName(const QString &userName);
    //! Keeps \ref merchantId, which the settings do not hold, and announces it.
    void _setMerchantId(const QString &merchantId);

    //! Turns a JWT of this login project into the session's identity; false when it is not one.
    bool _processJWT(const QString &jwt);
    //! Fills the identity from the claims of \a payload, with \a userName as the user name, and tags the error reports.
    void _setIdentity(const QJsonObject &payload, const QString &userName);
    //! Ends a successful attempt: an info line for the error logger, then loginFinished().
    void _finishAuth();
    //! Files an error report of the "authorization" area with the ErrorLogger.
    void _logError(const QString &title, const QString &description) const;
    //! Writes \a event as an info line of the ErrorLogger.
    void _logEvent(const QString &event) const;

    //! Tells every channel of \a row about a failure: critical lines, analytics event, _logError() and error().
    void _reportFailure(const FailureRow &row);
    //! As above, in the words of \a reply: its error string, the service's description, its body.
    void _reportFailure(const FailureRow &row, const ServiceReply &reply);

private:
    void _tellFailure(const FailureRow &row, const ServiceReply *reply);
    void _updateErrorTags(const QString &userId, const QString &userName, const QString &externalAccountId);

    int m_loginType = 0;
    bool m_failedTransiently = false;
    QString m_token;
    QString m_accessKey;
    QString m_login;
    QString m_userId;
    QString m_externalUserId;
    QString m_jwt;
    QString m_userName;
    QString m_merchantId;
};

} // namespace NimblaSDK
