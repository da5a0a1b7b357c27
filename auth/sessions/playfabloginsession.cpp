#include "playfabloginsession.h"

#include "authlogging_p.h"
#include "failurerow_p.h"
#include "napplication.h"
#include "passwordlogin_p.h"
#include "playfabexchange_p.h"

#include <QNetworkReply>

namespace NimblaSDK {

namespace {

const FailureRow NoSavedAccount = FailureRow(lcPlayfabAuth)
        .translatedError(QT_TRANSLATE_NOOP("NimblaSDK::PlayfabLoginSession",
                                           "Could not log in via the saved account.\n Please use your email and password or log in via a social network."))
        .report("Playfab: Failed auth via saved account");
// PlayFab's own words go to the player unchanged.
const FailureRow LoginRefused = FailureRow(lcPlayfabAuth)
        .logReply(FailureRow::ServiceLines, "Playfab login failed: ")
        .report("Playfab: Failed auth", FailureRow::ServiceDescription)
        .errorFromService();
const FailureRow CrossAuthFailed = FailureRow(lcPlayfabAuth)
        .logReply(FailureRow::ErrorStringLine, "Msg: ")
        .log("Auth: Request failed!")
        .report("Playfab: Auth request failed", FailureRow::NetworkErrorString)
        .errorFromNetwork();
// The trailing ": " of the title is what the error dashboards group by.
const FailureRow RedirectRefused = FailureRow(lcPlayfabAuth)
        .log("Auth: Redirect request failed!")
        .logReply(FailureRow::DescriptionLine, "Reply: ")
        .errorFromService()
        .report("Playfab: Failed redirect request: ", FailureRow::ServiceDescription);

SDKSettings *settings()
{
    return NApplication::instance().settingsManager();
}

} // namespace

PlayfabLoginSession::PlayfabLoginSession(QObject *parent)
    : AbstractSession(parent)
{
    const CredentialRecord account = PasswordLogin::savedAccount();
    setLogin(account.userName);
    setPassword(account.secret);
    setRememberMe(true);
}

QString PlayfabLoginSession::login() const { return m_login; }
QString PlayfabLoginSession::password() const { return m_password; }
bool PlayfabLoginSession::rememberMe() const { return m_rememberMe; }

void PlayfabLoginSession::setLogin(const QString &login)
{
    if (login == m_login)
        return;
    m_login = login;
    Q_EMIT loginChanged(login);
}

void PlayfabLoginSession::setPassword(const QString &password)
{
    if (password == m_password)
        return;
    m_password = password;
    Q_EMIT passwordChanged(password);
}

void PlayfabLoginSession::setRememberMe(bool rememberMe)
{
    if (rememberMe == m_rememberMe)
        return;
    m_rememberMe = rememberMe;
    Q_EMIT rememberMeChanged(rememberMe);
}

void PlayfabLoginSession::tryLogin()
{
    if (m_login.isEmpty() || m_password.isEmpty()) {
        _reportFailure(NoSavedAccount);
        return;
    }

    const QString loginUrl = NApplication::instance().urlsManager()->playfabLoginUrl();
    const PlayfabExchange::Members credentials{
        {QStringLiteral("Email"), m_login},
        {QStringLiteral("Password"), m_password},
        {QStringLiteral("TitleId"), PlayfabExchange::titleId(loginUrl)},
    };
    QNetworkReply *reply = PlayfabExchange::postLogin(loginUrl, credentials);
    // Released even when the session is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] { _onLoginReply(reply); });
}

void PlayfabLoginSession::_onLoginReply(QNetworkReply *reply)
{
    const PlayfabExchange::LoginReply answer(reply);
    if (answer.failed()) {
        _reportFailure(LoginRefused, answer);
        return;
    }

    qCInfo(lcPlayfabAuth) << "Playfab login finished";
    m_sessionTicket = answer.sessionTicket();
    m_playfabId = answer.playfabId();
    settings()->setPlayfabToken(m_sessionTicket);
    if (!m_playfabId.isEmpty())
        settings()->setPlayfabId(m_playfabId);
    // An answer without "data" still goes on: the cross-auth refuses the empty ticket.
    _processSessionTicket();
}

void PlayfabLoginSession::_processSessionTicket()
{
    QNetworkReply *reply = PlayfabExchange::requestCrossAuth(m_playfabId, m_sessionTicket);
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] { _onCrossAuthReply(reply); });
}

void PlayfabLoginSession::_onCrossAuthReply(QNetworkReply *reply)
{
    const PlayfabExchange::CrossAuthReply answer(reply);
    if (answer.failed()) {
        _reportFailure(CrossAuthFailed, answer);
        return;
    }

    qCInfo(lcPlayfabAuth) << "Auth: Request finished!";
    if (answer.token().isEmpty()) {
        _reportFailure(RedirectRefused, answer);
        return;
    }

    _processJWT(answer.token());
    qCInfo(lcPlayfabAuth) << "Auth: Redirect request finished";
    // Saved whatever rememberMe says: the flag decides the next start's
    // automatic sign-in, not whether the form is filled in.
    PasswordLogin::saveAccount(m_login, m_password);
    settings()->setRememberMe(m_rememberMe);
    _finishAuth();
}

} // namespace NimblaSDK
