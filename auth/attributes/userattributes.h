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
    //! The publisher project whose attributes are read and written; 0 is a valid id. Until it is set (it starts
    //! at -1), get() and update() fail with code 1 and send nothing.
    Q_PROPERTY(int publisherID READ publisherID WRITE setPublisherID NOTIFY publisherIDChanged)
    //! UA_STATE_IN_PROGRESS while a get() or update() runs, UA_STATE_NONE otherwise. The launcher only reads
    //! it, e.g. to disable its buttons.
    Q_PROPERTY(State state READ state WRITE setState NOTIFY stateChanged)
    //! The player whose attributes are read: AbstractSession::userId of the current sign-in. Until it is set,
    //! get() and update() fail with code 1 and send nothing.
    Q_PROPERTY(QString userID READ userID WRITE setUserID NOTIFY userIDChanged)

public:
    //! Whether a request runs; see \ref state.
    enum State { UA_STATE_NONE = 0, UA_STATE_IN_PROGRESS = 1 };
    Q_ENUM(State)

    //! \a authManager is only kept alive, and may be null; the service checks the requester's authorisation.
    UserAttributes(QSharedPointer<IHttpApiRequester> requester, QSharedPointer<AuthManager> authManager,
                   QObject *parent);

    //! \sa publisherID
    int publisherID() const;
    //! \sa state
    State state() const;
    //! \sa userID
    QString userID() const;
    //! The attribute names that get() reads and update() writes, in order.
    QStringList keys() const;

Q_SIGNALS:
    //! Announces a new \ref publisherID.
    void publisherIDChanged(int publisherID);
    //! Announces a new \ref state.
    void stateChanged(NimblaSDK::UserAttributes::State state);
    //! Announces a new \ref userID.
    void userIDChanged(const QString &userID);
    //! The outcome of get(): \a error has code 0 and value() holds what was read, or it tells the failure as
    //! UserAttributesError lists. On success before the state returns to UA_STATE_NONE, on failure after it.
    void getFinished(UserAttributesError error);
    //! The outcome of update(), as for getFinished(). On success before the state returns to UA_STATE_NONE, on
    //! failure after it.
    void updateFinished(UserAttributesError error);

public Q_SLOTS:
    //! \sa publisherID
    void setPublisherID(int publisherID);
    //! Set by get() and update() themselves; a launcher has no reason to call it.
    void setState(NimblaSDK::UserAttributes::State state);
    //! Appends \a key unless keys() holds it already.
    void setKey(const QString &key);
    //! Replaces keys(); the values already read stay.
    void setKeys(const QStringList &keys);
    //! \sa userID
    void setUserID(const QString &userID);
    //! Reads the values of keys() into value().
    void get();
    //! Writes the values of keys(); a key without a value is written as "".
    void update();
    //! The local value of \a key: what get() read or setValue() set; empty when there is none.
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
