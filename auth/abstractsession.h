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
    Q_PROPERTY(QString token READ token NOTIFY tokenChanged)
    Q_PROPERTY(QString accessKey READ accessKey NOTIFY accessKeyChanged)
    Q_PROPERTY(QString login READ login NOTIFY loginChanged)
    Q_PROPERTY(QString userId READ userId NOTIFY userIdChanged)
    Q_PROPERTY(QString userName READ userName NOTIFY userNameChanged)
    Q_PROPERTY(QString jwt READ jwt NOTIFY jwtChanged)
    Q_PROPERTY(QString merchantId READ merchantId NOTIFY merchantIdChanged)

public:
    explicit AbstractSession(QObject *parent);

    QString token() const;
    QString accessKey() const;
    QString login() const;
    QString userId() const;
    QString userName() const;
    QString jwt() const;
    QString merchantId() const;
    QString externalUserId() const;
    //! 0 until the widget settings answer, then 1 for direct and 2 for proxy login.
    int loginType() const;
    //! Whether the failure that error() last told of left the service unheard: not reached, an answer
    //! cut short, or a server error (5xx). Trying again later may succeed; a refusal is not transient.
    bool failedTransiently() const;

    //! Asks the service how the project logs in, then calls tryLogin().
    void checkLoginType();
    virtual void tryLogin() = 0;

Q_SIGNALS:
    void refreshed(const QVariantMap &sessionParameters);
    void error(const QString &errorMsg);
    void loginFinished();
    void tokenChanged(const QString &token);
    void accessKeyChanged(const QString &accessKey);
    void loginChanged(const QString &login);
    void userIdChanged(const QString &userId);
    void userNameChanged(const QString &userId);
    void jwtChanged(const QString &jwt);
    void externalUserIdChanged(const QString &externalUserId);
    void merchantIdChanged(const QString &merchantId);

public Q_SLOTS:
    virtual void refresh();
    virtual void logout();

protected:
    void _setToken(const QString &token);
    void _setAccessKey(const QString &accessKey);
    void _setLogin(const QString &login);
    void _setUserId(const QString &userId);
    void _setExternalUserId(const QString &externalUserId);
    void _setJwt(const QString &jwt);
    void _setUserName(const QString &userName);
    void _setMerchantId(const QString &merchantId);

    //! Turns a JWT of this login project into the session's identity; false when it is not one.
    bool _processJWT(const QString &jwt);
    //! Fills the identity from the claims of \a payload, with \a userName as the user name, and tags the error reports.
    void _setIdentity(const QJsonObject &payload, const QString &userName);
    void _finishAuth();
    void _logError(const QString &title, const QString &description) const;
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
