#pragma once

#include "servicereply_p.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QPair>
#include <QString>
#include <QVector>

class QNetworkReply;

namespace NimblaSDK {

/*
 * The two steps every PlayFab sign-in takes: a login at PlayFab, which gives a
 * session ticket and a PlayFab id, then the launcher service's cross-auth,
 * which trades them for the launcher's own JWT. The sessions keep their own
 * failure tables and log categories; what the wire looks like lives here.
 */
namespace PlayfabExchange {

//! The PlayFab title of \a loginUrl: the first label of its host.
QString titleId(const QString &loginUrl);

//! The members of a login body, all scalars, in the order they go on the wire.
using Members = QVector<QPair<QString, QJsonValue>>;

//! POSTs \a body to \a loginUrl as indented JSON, in its members' order; the reply belongs to the caller.
QNetworkReply *postLogin(const QString &loginUrl, const Members &body);

//! GETs the configured cross-auth URL for \a playfabId and \a sessionTicket; the reply belongs to the caller.
QNetworkReply *requestCrossAuth(const QString &playfabId, const QString &sessionTicket);

/*
 * A finished PlayFab login reply. PlayFab explains a failure with
 * "errorMessage", and for "InvalidParams" with the offending fields in
 * "errorDetails"; that composed text is this reply's service description.
 * A failure that PlayFab did not explain (no answer, a dead service, a
 * status with a body of its own) is described by the network error instead,
 * so the player is not shown an empty message.
 */
class LoginReply : public ServiceReply
{
public:
    explicit LoginReply(QNetworkReply *reply);

    //! Empty when the answer has no "data": the cross-auth is tried anyway and refused there.
    QString sessionTicket() const;
    QString playfabId() const;

private:
    QJsonObject data() const;
};

/*
 * A finished cross-auth reply. The service answers with a redirect, not
 * followed, whose "Location" carries "token", or "error" with the reason;
 * that "error" is this reply's service description.
 */
class CrossAuthReply : public ServiceReply
{
public:
    explicit CrossAuthReply(QNetworkReply *reply);

    //! The launcher's JWT; empty when the service refused.
    QString token() const { return m_token; }

private:
    QString m_token;
};

} // namespace PlayfabExchange

} // namespace NimblaSDK
