#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/attributes/userattributeserror.h>

#include <QMap>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace NimblaSDK {

class AuthManager;
class HttpApiRequest;
class IHttpApiRequester;

//! Attribute values by key, ordered by key.
using ValuesMap = QMap<QString, QString>;

/*!
 * Reads and writes the signed-in player's attributes: named text values that
 * the service keeps per publisher project and user. The requester carries the
 * player's authorisation; hand it the JWT with authorized() after each sign-in.
 *
 * \code
 * auto requester = QSharedPointer<NimblaSDK::HttpApiRequester>::create(nullptr);
 * requester->authorized({{QStringLiteral("access_token"), session->jwt()}});
 * auto *attributes = new NimblaSDK::UserAttributes(requester, authManager, this);
 * attributes->setPublisherID(publisherProjectId);
 * attributes->setUserID(session->userId());
 * attributes->setKeys({QStringLiteral("favourite_class")});
 * connect(attributes, &NimblaSDK::UserAttributes::getFinished, this,
 *         [attributes](const NimblaSDK::UserAttributesError &error) {
 *             if (error.code == 0)
 *                 show(attributes->value(QStringLiteral("favourite_class")));
 *         });
 * attributes->get();
 * \endcode
 *
 * Values change locally with setValue() and are sent by update(), which
 * writes every key of keys() with the "public" permission.
 */
class NIMBLAAUTH_EXPORT UserAttributes : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int publisherID READ publisherID WRITE setPublisherID NOTIFY publisherIDChanged)
    Q_PROPERTY(State state READ state WRITE setState NOTIFY stateChanged)
    Q_PROPERTY(QString userID READ userID WRITE setUserID NOTIFY userIDChanged)

public:
    enum State { UA_STATE_NONE = 0, UA_STATE_IN_PROGRESS = 1 };
    Q_ENUM(State)

    //! \a authManager is only kept alive, and may be null; the service checks the requester's authorisation.
    UserAttributes(QSharedPointer<IHttpApiRequester> requester, QSharedPointer<AuthManager> authManager,
                   QObject *parent);

    int publisherID() const;
    State state() const;
    QString userID() const;
    QStringList keys() const;

Q_SIGNALS:
    void publisherIDChanged(int publisherID);
    void stateChanged(NimblaSDK::UserAttributes::State state);
    void userIDChanged(const QString &userID);
    //! On success before the state returns to UA_STATE_NONE, on failure after it.
    void getFinished(UserAttributesError error);
    //! On success before the state returns to UA_STATE_NONE, on failure after it.
    void updateFinished(UserAttributesError error);

public Q_SLOTS:
    void setPublisherID(int publisherID);
    void setState(NimblaSDK::UserAttributes::State state);
    //! Appends \a key unless keys() holds it already.
    void setKey(const QString &key);
    void setKeys(const QStringList &keys);
    void setUserID(const QString &userID);
    //! Reads the values of keys() into value().
    void get();
    //! Writes the values of keys(); a key without a value is written as "".
    void update();
    QString value(const QString &key) const;
    //! Changes the local value only; update() sends it.
    void setValue(const QString &key, const QString &value);

private:
    UserAttributesError _checkCredentials() const;
    UserAttributesError createUserAttributesError(HttpApiRequest *request) const;
    HttpApiRequest *_post(const QString &url, const QVariantMap &body);
    //! Logs \a request's failure and returns the error to report.
    UserAttributesError _failure(HttpApiRequest *request) const;
    void _onGetFinished(HttpApiRequest *request, const QByteArray &data);
    void _onUpdateFinished(HttpApiRequest *request);

    QSharedPointer<IHttpApiRequester> m_requester;
    QSharedPointer<AuthManager> m_authManager;
    int m_publisherID = -1;
    State m_state = UA_STATE_NONE;
    QStringList m_keys;
    QString m_userID;
    ValuesMap m_values;
};

} // namespace NimblaSDK
