#include "mailrusession.h"

#include "authlogging_p.h"
#include "failurerow_p.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "servicereply_p.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>

namespace NimblaSDK {

namespace {

const char *const RequestFinished = "Auth: Request finished!";

const FailureRow LoginFailed = FailureRow(lcMailRuAuth)
        .logReply(FailureRow::ErrorStringLine, "Msg: ")
        .log("Auth: Request failed!")
        .errorFromNetwork()
        .report("MailRu: Request failed", FailureRow::NetworkErrorString);
const FailureRow RedirectFailed = FailureRow(lcMailRuAuth)
        .logReply(FailureRow::ErrorStringLine, "Msg: ")
        .log("Auth: Redirect request failed!")
        .logReply(FailureRow::ErrorStringLine, "Reply: ")
        .errorFromNetwork()
        .report("MailRu: Redirect request failed", FailureRow::NetworkErrorString);

// The service's redirect is read, not followed: its address carries the
// token, and its target is fetched on purpose afterwards.
QNetworkReply *getWithoutRedirects(const QUrl &url)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *reply = NNetworkAccessManager::getManager()->get(request);
    // Released even when the session is gone before the answer comes.
    QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    return reply;
}

} // namespace

MailRuSession::MailRuSession(QObject *parent)
    : AbstractSession(parent)
{
}

QString MailRuSession::uid() const { return m_uid; }
QString MailRuSession::ticked() const { return m_ticked; }

// No change signals: the game centre's values are handed over once, before tryLogin().
void MailRuSession::setUid(const QString &uid)
{
    m_uid = uid;
}

void MailRuSession::setTicked(const QString &ticked)
{
    m_ticked = ticked;
}

void MailRuSession::tryLogin()
{
    const QString address = NApplication::instance().urlsManager()->mailruLoginUrl().arg(m_uid, m_ticked);
    qCInfo(lcMailRuAuth) << "Start auth.";
    qCInfo(lcMailRuAuth).noquote() << QStringLiteral("url: ") + address;

    QNetworkReply *reply = getWithoutRedirects(QUrl(address, QUrl::TolerantMode));
    connect(reply, &QNetworkReply::finished, this, [this, reply] { _onLoginReply(reply); });
}

void MailRuSession::_onLoginReply(QNetworkReply *reply)
{
    const ServiceReply answer(reply);
    qCInfo(lcMailRuAuth) << RequestFinished;
    if (answer.failed()) {
        _reportFailure(LoginFailed, answer);
        return;
    }
    qCInfo(lcMailRuAuth) << RequestFinished;
    qCInfo(lcMailRuAuth).noquote() << QStringLiteral("Reply: ") + QString::fromUtf8(answer.body());

    const QUrl location(QString::fromUtf8(reply->rawHeader("Location")), QUrl::TolerantMode);
    // Not checked: a missing or foreign token leaves the session without an
    // identity, and the redirect target still decides the outcome.
    _processJWT(QUrlQuery(location).queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded));

    QNetworkReply *redirect = getWithoutRedirects(location);
    connect(redirect, &QNetworkReply::finished, this, [this, redirect] { _onRedirectReply(redirect); });
}

void MailRuSession::_onRedirectReply(QNetworkReply *reply)
{
    const ServiceReply answer(reply);
    if (answer.failed()) {
        _reportFailure(RedirectFailed, answer);
        return;
    }
    qCInfo(lcMailRuAuth) << "Auth: Redirect request finished";
    qCDebug(lcMailRuAuth).noquote() << QString::fromUtf8(answer.body());
    _finishAuth();
}

} // namespace NimblaSDK
