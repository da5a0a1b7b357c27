#include "abstactoauthsession.h"

#include "authlogging_p.h"
#include "failurerow_p.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "servicereply_p.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QUrlQuery>

namespace NimblaSDK {

namespace {

const char *const ExchangeFailed = "exchange code failed ";
const char *const FailedEvent = "ExchangeOAuthCodeFailed";

// The service's description goes to the player unchanged.
const FailureRow ExchangeRefused = FailureRow(lcOAuthSession)
        .logReply(FailureRow::ServiceLines, ExchangeFailed)
        .event(FailedEvent)
        .report("NimblaOAuthLogin: Failed auth", FailureRow::ServiceDescription)
        .errorFromService();
const FailureRow ExchangeUnanswered = FailureRow(lcOAuthSession)
        .logReply(FailureRow::NetworkLine, ExchangeFailed)
        .event(FailedEvent)
        .report("NimblaOAuthLogin: Authorization failed", FailureRow::FirstLogLine)
        .errorFromNetwork();

using FormFields = QVector<QPair<QString, QString>>;

// Every form is built here. All but the unreserved characters are encoded,
// '+' as %2B included: a form decoder reads a bare '+' as a space, and codes
// and tokens may well hold one.
QByteArray formBody(const FormFields &fields)
{
    QByteArray body;
    for (const auto &field : fields) {
        if (!body.isEmpty())
            body += '&';
        body += QUrl::toPercentEncoding(field.first) + '=' + QUrl::toPercentEncoding(field.second);
    }
    return body;
}

// Characters drawn from the system's secure random source: what is random
// here guards a sign-in, so it must not be guessable from a seeded sequence.
QString randomText(const QString &alphabet, int length)
{
    QRandomGenerator *random = QRandomGenerator::system();
    QString text;
    text.reserve(length);
    for (int i = 0; i < length; ++i)
        text.append(alphabet.at(int(random->bounded(quint32(alphabet.size())))));
    return text;
}

} // namespace

const QString AbstactOAuthSession::SessionAccessToken = QStringLiteral("access_token");
const QString AbstactOAuthSession::SessionRefreshToken = QStringLiteral("refresh_token");

AbstactOAuthSession::AbstactOAuthSession(QObject *parent)
    : AbstractSession(parent)
{
}

const QMap<QString, QVariant> &AbstactOAuthSession::sessionParameters() const
{
    return m_sessionParameters;
}

QJsonObject AbstactOAuthSession::sessionState() const
{
    return QJsonObject();
}

void AbstactOAuthSession::setSessionState(const QJsonObject &state)
{
    Q_UNUSED(state)
}

QString AbstactOAuthSession::refreshToken() const
{
    return m_sessionParameters.value(SessionRefreshToken).toString();
}

QJsonObject AbstactOAuthSession::_tokenState() const
{
    return {
        {SessionAccessToken, QJsonValue::fromVariant(m_sessionParameters.value(SessionAccessToken))},
        {SessionRefreshToken, QJsonValue::fromVariant(m_sessionParameters.value(SessionRefreshToken))},
    };
}

void AbstactOAuthSession::_restoreTokenState(const QJsonObject &state)
{
    m_sessionParameters.insert(SessionAccessToken, state.value(SessionAccessToken).toString());
    m_sessionParameters.insert(SessionRefreshToken, state.value(SessionRefreshToken).toString());
}

QString AbstactOAuthSession::_generateState()
{
    // The state is what stops a forged redirect from being accepted.
    return randomText(QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"), 12);
}

QString AbstactOAuthSession::_generateCodeVerifier()
{
    // RFC 7636 allows 43 to 128 of these; 64 draws from 66 characters are some 386 bits.
    return randomText(QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~"), 64);
}

QUrl AbstactOAuthSession::_withCodeChallenge(QUrl url, const QString &codeVerifier)
{
    // A server without PKCE ignores both items; one with it binds the code to
    // the challenge, so a code caught on its way here is of no use without the verifier.
    const QByteArray challenge = QCryptographicHash::hash(codeVerifier.toLatin1(), QCryptographicHash::Sha256)
                                         .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    QUrlQuery query(url);
    query.addQueryItem(QStringLiteral("code_challenge"), QString::fromLatin1(challenge));
    query.addQueryItem(QStringLiteral("code_challenge_method"), QStringLiteral("S256"));
    url.setQuery(query);
    return url;
}

void AbstactOAuthSession::_oauthGetJwt(const QString &code, const QString &redirectUri, bool refresh,
                                       const QString &codeVerifier)
{
    const QUrl url(NApplication::instance().urlsManager()->oauthExchangeCodeUrl());

    FormFields form;
    if (refresh) {
        form = {{QStringLiteral("grant_type"), QStringLiteral("refresh_token")},
                {QStringLiteral("refresh_token"), refreshToken()}};
    } else {
        form = {{QStringLiteral("grant_type"), QStringLiteral("authorization_code")}, {QStringLiteral("code"), code}};
    }
    form.append({QStringLiteral("client_id"),
                 QString::number(NApplication::instance().configManager()->oauth2ClientId())});
    form.append({QStringLiteral("redirect_uri"), redirectUri});
    if (!codeVerifier.isEmpty())
        form.append({QStringLiteral("code_verifier"), codeVerifier});

    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/x-www-form-urlencoded"));
    QNetworkReply *reply = NNetworkAccessManager::getManager()->post(request, formBody(form));

    // Released even when the session is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        const ServiceReply answer(reply);
        if (answer.failed()) {
            // A 401 that explains itself is a refusal like any other here.
            _reportFailure(answer.hasServiceError() ? ExchangeRefused : ExchangeUnanswered, answer);
            return;
        }

        const QJsonObject tokens = answer.answer();
        if (tokens.contains(SessionAccessToken)) {
            const QString accessToken = tokens.value(SessionAccessToken).toString();
            const QString newRefreshToken =
                    QString::fromUtf8(tokens.value(SessionRefreshToken).toVariant().toByteArray());
            updateRefreshToken(newRefreshToken);
            _onJwtReceived(accessToken);
        }
    });
}

void AbstactOAuthSession::updateRefreshToken(const QString &refreshToken)
{
    qCDebug(lcOAuthSession).nospace().noquote() << "Refresh token changed from [" << this->refreshToken().toLocal8Bit()
                                                << "] to [" << refreshToken.toLocal8Bit() << "]";
    m_sessionParameters.insert(SessionRefreshToken, refreshToken);
}

void AbstactOAuthSession::_recordAccessToken(const QString &jwt)
{
    m_sessionParameters.insert(SessionAccessToken, jwt);
    Q_EMIT refreshed(m_sessionParameters);
}

void AbstactOAuthSession::_onJwtReceived(const QString &jwt)
{
    // Announced before the token is checked: the manager saves the
    // parameters on this signal, whatever the check finds.
    _recordAccessToken(jwt);
    _processJWT(jwt);
    // A JWT of another login project still finishes the sign-in on this path;
    // callers rely on loginFinished() after every token answer.
    _finishAuth();
}

} // namespace NimblaSDK
