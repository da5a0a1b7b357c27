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

// One indented JSON object of scalar members, in their own order.
QByteArray indentedJson(const Members &members)
{
    // QJsonObject sorts its keys, and PlayFab's Steam login is sent with its
    // ticket first, as it always was; so the object is laid out here, in the
    // indented form of QJsonDocument::toJson(). A value or key is written as
    // the single element of a compact array, which escapes it as JSON does.
    const auto scalar = [](const QJsonValue &value) {
        const QByteArray inArray = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
        return inArray.mid(1, inArray.size() - 2);
    };
    QByteArrayList lines;
    for (const auto &member : members)
        lines << "    " + scalar(member.first) + ": " + scalar(member.second);
    return "{\n" + lines.join(",\n") + "\n}\n";
}

} // namespace

QString titleId(const QString &loginUrl)
{
    // Cut as text, not parsed: the title is configured only through the URL,
    // and a host that QUrl would normalise must still give its first label.
    return loginUrl.section(QLatin1Char('/'), 2, 2).section(QLatin1Char('.'), 0, 0);
}

QNetworkReply *postLogin(const QString &loginUrl, const Members &body)
{
    QNetworkRequest request(QUrl(loginUrl, QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    return NNetworkAccessManager::getManager()->post(request, indentedJson(body));
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
    const bool explained = answer().contains(QStringLiteral("errorMessage"));
    setServiceDescription(explained ? describe(answer()) : errorString());
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
