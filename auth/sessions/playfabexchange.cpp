#include "playfabexchange_p.h"

#include "napplication.h"
#include "nnetworkaccessmanager.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrl>
#include <QUrlQuery>

namespace NimblaSDK {

namespace PlayfabExchange {

namespace {

// "errorMessage", then for each field of "errorDetails" (QVariantMap keeps them
// in ascending order) a blank line, " Field: " and each of its complaints on a
// line of its own, as the launcher's message box has always shown them.
QString describe(const QJsonObject &answer)
{
    QString message = answer.value(QStringLiteral("errorMessage")).toString();
    if (answer.value(QStringLiteral("error")).toString() != QLatin1String("InvalidParams"))
        return message;
    const QVariantMap details = answer.value(QStringLiteral("errorDetails")).toObject().toVariantMap();
    for (auto field = details.cbegin(); field != details.cend(); ++field) {
        message += QStringLiteral("\n\n ") + field.key() + QStringLiteral(": ");
        for (const QVariant &complaint : field.value().toList())
            message += QLatin1Char('\n') + complaint.toString();
    }
    return message;
}

} // namespace

QString titleId(const QString &loginUrl)
{
    // Cut as text, not parsed: the title is configured only through the URL,
    // and a host that QUrl would normalise must still give its first label.
    return loginUrl.section(QLatin1Char('/'), 2, 2).section(QLatin1Char('.'), 0, 0);
}

QNetworkReply *postLogin(const QString &loginUrl, const QJsonObject &body)
{
    QNetworkRequest request(QUrl(loginUrl, QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    return NNetworkAccessManager::getManager()->post(request, QJsonDocument(body).toJson());
}

QNetworkReply *requestCrossAuth(const QString &playfabId, const QString &sessionTicket)
{
    const QString url = NApplication::instance().urlsManager()->playfabCrossAuthUrl().arg(
            playfabId, QString::fromLatin1(QUrl::toPercentEncoding(sessionTicket)));
    QNetworkReply *reply = NNetworkAccessManager::getManager()->get(QNetworkRequest(QUrl(url)));
    reply->ignoreSslErrors();
    return reply;
}

LoginReply::LoginReply(QNetworkReply *reply)
    : ServiceReply(reply)
{
    setServiceDescription(describe(answer()));
}

QString LoginReply::sessionTicket() const
{
    return data().value(QStringLiteral("SessionTicket")).toString();
}

QString LoginReply::playfabId() const
{
    return data().value(QStringLiteral("PlayFabId")).toString();
}

QJsonObject LoginReply::data() const
{
    return answer().value(QStringLiteral("data")).toObject();
}

CrossAuthReply::CrossAuthReply(QNetworkReply *reply)
    : ServiceReply(reply)
{
    const QUrlQuery redirect(QUrl(QString::fromUtf8(reply->rawHeader("Location"))));
    m_token = redirect.queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded);
    setServiceDescription(redirect.queryItemValue(QStringLiteral("error"), QUrl::FullyDecoded));
}

} // namespace PlayfabExchange

} // namespace NimblaSDK
