#include "userattributes.h"

#include "authlogging_p.h"
#include "httpapirequest.h"
#include "ihttpapirequester.h"
#include "napplication.h"
#include "urlsmanager.h"

#include <QJsonDocument>
#include <QUrl>
#include <QVariantList>

#include <utility>

namespace NimblaSDK {

namespace {

const UrlsManager *urls()
{
    return NApplication::instance().urlsManager();
}

} // namespace

UserAttributes::UserAttributes(QSharedPointer<IHttpApiRequester> requester, QSharedPointer<AuthManager> authManager,
                               QObject *parent)
    : QObject(parent)
    , m_requester(std::move(requester))
    , m_authManager(std::move(authManager))
{
    // Both spellings: queued connections and QML look the type up by the name the signal was declared with.
    qRegisterMetaType<UserAttributesError>("UserAttributesError");
    qRegisterMetaType<UserAttributesError>("NimblaSDK::UserAttributesError");
    qRegisterMetaType<ValuesMap>("ValuesMap");
    qRegisterMetaType<State>();
}

int UserAttributes::publisherID() const
{
    return m_publisherID;
}

UserAttributes::State UserAttributes::state() const
{
    return m_state;
}

QString UserAttributes::userID() const
{
    return m_userID;
}

QStringList UserAttributes::keys() const
{
    return m_keys;
}

void UserAttributes::setPublisherID(int publisherID)
{
    if (publisherID == m_publisherID)
        return;
    m_publisherID = publisherID;
    Q_EMIT publisherIDChanged(publisherID);
}

void UserAttributes::setState(State state)
{
    if (state == m_state)
        return;
    m_state = state;
    Q_EMIT stateChanged(state);
}

void UserAttributes::setKey(const QString &key)
{
    if (!m_keys.contains(key))
        m_keys.append(key);
}

void UserAttributes::setKeys(const QStringList &keys)
{
    m_keys = keys;
}

void UserAttributes::setUserID(const QString &userID)
{
    if (userID == m_userID)
        return;
    m_userID = userID;
    Q_EMIT userIDChanged(userID);
}

QString UserAttributes::value(const QString &key) const
{
    return m_values.value(key);
}

void UserAttributes::setValue(const QString &key, const QString &value)
{
    m_values.insert(key, value);
}

void UserAttributes::get()
{
    const UserAttributesError error = _checkCredentials();
    if (error.code != 0) {
        Q_EMIT getFinished(error);
        return;
    }
    setState(UA_STATE_IN_PROGRESS);

    HttpApiRequest *request = _post(urls()->getUserAttributesUrl(),
                                    {{QStringLiteral("keys"), m_keys},
                                     {QStringLiteral("publisher_project_id"), m_publisherID},
                                     {QStringLiteral("user_id"), m_userID}});
    connect(request, &HttpApiRequest::finished, this,
            [this, request](const QByteArray &data) { _onGetFinished(request, data); });
}

void UserAttributes::update()
{
    const UserAttributesError error = _checkCredentials();
    if (error.code != 0) {
        Q_EMIT updateFinished(error);
        return;
    }
    setState(UA_STATE_IN_PROGRESS);

    QVariantList attributes;
    for (const QString &key : qAsConst(m_keys)) {
        // The service has no way to choose another permission through this client.
        attributes.append(QVariantMap{{QStringLiteral("key"), key},
                                      {QStringLiteral("permission"), QStringLiteral("public")},
                                      {QStringLiteral("value"), m_values[key]}}); // a key never set is written as ""
    }
    HttpApiRequest *request = _post(urls()->updateUserAttributesUrl(),
                                    {{QStringLiteral("publisher_project_id"), m_publisherID},
                                     {QStringLiteral("attributes"), attributes}});
    connect(request, &HttpApiRequest::finished, this, [this, request] { _onUpdateFinished(request); });
}

UserAttributesError UserAttributes::_checkCredentials() const
{
    UserAttributesError error;
    if (m_publisherID < 0 || m_userID.isEmpty()) {
        error.code = 1;
        // The same text covers a missing user id: launchers match on it.
        error.message = QStringLiteral("Publisher id is incorrect");
    }
    return error;
}

UserAttributesError UserAttributes::createUserAttributesError(HttpApiRequest *request) const
{
    UserAttributesError error;
    error.code = 2;
    switch (request->httpStatusCode()) {
    case 403:
        error.code = 3;
        error.message = QStringLiteral("your auth token is invalid");
        break;
    case 422:
        error.code = 4;
        error.message = QStringLiteral("parameters sent to the server are incorrect.");
        break;
    case 429:
        error.code = 5;
        error.message = QStringLiteral("too many request");
        break;
    default:
        break;
    }
    // Appended even to an empty message, which then starts with the blank.
    error.message += QStringLiteral(" Error description: %1").arg(request->errorString());
    return error;
}

HttpApiRequest *UserAttributes::_post(const QString &url, const QVariantMap &body)
{
    HttpApiRequest *request = m_requester->post(QUrl(url), QJsonDocument::fromVariant(body).toJson(),
                                                QStringLiteral("application/json"));
    // Released even when this object is gone before the answer.
    connect(request, &HttpApiRequest::finished, request, &QObject::deleteLater);
    return request;
}

UserAttributesError UserAttributes::_failure(HttpApiRequest *request) const
{
    const UserAttributesError error = createUserAttributesError(request);
    qCCritical(lcUserAttributes).noquote() << "Error:" << error.message << "Http status code:"
                                           << request->httpStatusCode();
    return error;
}

void UserAttributes::_onGetFinished(HttpApiRequest *request, const QByteArray &data)
{
    if (!request->noErrors()) {
        const UserAttributesError error = _failure(request);
        setState(UA_STATE_NONE);
        Q_EMIT getFinished(error);
        return;
    }
    // Anything but an array reads as no attributes; keys the answer leaves out keep their values.
    const QVariantList attributes = QJsonDocument::fromJson(data).toVariant().toList();
    for (const QVariant &attribute : attributes) {
        const QVariantMap entry = attribute.toMap();
        m_values.insert(entry.value(QStringLiteral("key")).toString(), entry.value(QStringLiteral("value")).toString());
    }
    Q_EMIT getFinished(UserAttributesError());
    setState(UA_STATE_NONE);
}

void UserAttributes::_onUpdateFinished(HttpApiRequest *request)
{
    if (!request->noErrors()) {
        const UserAttributesError error = _failure(request);
        setState(UA_STATE_NONE);
        Q_EMIT updateFinished(error);
        return;
    }
    Q_EMIT updateFinished(UserAttributesError());
    setState(UA_STATE_NONE);
}

} // namespace NimblaSDK
