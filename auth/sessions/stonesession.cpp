#include "stonesession.h"

#include "authlogging_p.h"
#include "failurerow_p.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "platform/isnaillaunch.h"
#include "platform/stonelauncherlibrary.h"
#include "servicereply_p.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>
#include <QUrlQuery>

#include <array>
#include <cstring>

namespace NimblaSDK {

namespace {

// The game name the launcher knows this product by, whatever the game id.
const char *const GameName = "Ironmarch";
// Besides 0, the launcher reports this status for an initialisation that succeeded.
constexpr std::int32_t AlsoInitialized = 102;
// Launcher interfaces show their waiting screen for this long before the
// message comes; the failure has always been reported this late.
constexpr int NotExecutedDelayMs = 3000;

const char *const CantGetLoginInformation =
        QT_TRANSLATE_NOOP("NimblaSDK::StoneSession", "Login failed. Can't get login information.");

const FailureRow NotExecuted = FailureRow(lcStoneAuth)
        .report("Stone: stone launcher isnt running")
        .translatedError(QT_TRANSLATE_NOOP("NimblaSDK::StoneSession", "Stone launcher is not executed"));
const FailureRow LoginFailed = FailureRow(lcStoneAuth)
        .logReply(FailureRow::ErrorStringLine, "Msg: ")
        .log("Auth: Request failed!")
        .report("Stone: Failed authorization", FailureRow::NetworkErrorString)
        .translatedError(CantGetLoginInformation);
const FailureRow NoJwt = FailureRow(lcStoneAuth)
        .log("Can't get jwt")
        .report("Stone: Failed authorization")
        .translatedError(CantGetLoginInformation);

// The launcher may call back; nothing it could say is needed here.
int ignoreLauncherCallback()
{
    return 0;
}

using LoginInfo = std::array<char, ISnailLaunch::LoginInfoSize>;

// A text of the record, NUL-terminated unless it fills its room.
QString textAt(const LoginInfo &record, std::size_t offset, std::size_t room)
{
    const char *text = record.data() + offset;
    return QString::fromUtf8(text, static_cast<int>(qstrnlen(text, static_cast<uint>(room))));
}

} // namespace

StoneSession::StoneSession(QObject *parent, const QString &gameId)
    : AbstractSession(parent)
    // The launcher takes a 32-bit id; a text that is not one gives 0, which is still passed on.
    , m_gameId(gameId.toInt())
    , m_library(std::make_unique<StoneLauncherLibrary>(
              NApplication::instance().configManager()->stoneLauncherLibrary()))
    , m_launcher(m_library->getLauncher())
{
    if (!m_launcher) {
        const QString why = m_library->errorString();
        qCWarning(lcStoneAuth).noquote() << "No Stone launcher:"
                                         << (why.isEmpty() ? QStringLiteral("the library gave none") : why);
    }
}

StoneSession::~StoneSession()
{
    // Only a launcher really obtained is shut down: the library may be missing.
    if (m_launcher)
        m_launcher->shutdown();
}

void StoneSession::tryLogin()
{
    if (_initStoneLauncher()) {
        _sendLoginRequest();
        return;
    }
    QTimer::singleShot(NotExecutedDelayMs, Qt::PreciseTimer, this, [this] {
        qCDebug(lcStoneAuth) << "Error: Stone launcher is not executed";
        _reportFailure(NotExecuted);
    });
}

bool StoneSession::_initStoneLauncher()
{
    if (!m_launcher)
        return false;

    const std::int32_t status = m_launcher->initialize(GameName, static_cast<std::int32_t>(m_gameId), nullptr,
                                                       &ignoreLauncherCallback);
    if (status != 0 && status != AlsoInitialized) {
        qCDebug(lcStoneAuth) << "Can't init stone launcher. Error code:" << status;
        return false;
    }

    LoginInfo record{};
    // Preset, and not read afterwards: the launcher's status of this call says nothing the record does not.
    std::int32_t infoStatus = 0;
    m_launcher->getLoginInfo(record.data(), &infoStatus);
    m_stoneAccount = textAt(record, ISnailLaunch::AccountOffset, ISnailLaunch::AccountSize);
    m_serviceTicket = textAt(record, ISnailLaunch::TicketOffset, record.size() - ISnailLaunch::TicketOffset);
    std::memcpy(&m_stoneUserId, record.data() + ISnailLaunch::UserIdOffset, sizeof m_stoneUserId);
    qCInfo(lcStoneAuth).noquote() << "Stone service ticket" << m_serviceTicket;
    return true;
}

void StoneSession::_sendLoginRequest()
{
    const QString address = NApplication::instance().urlsManager()->stoneLoginUrl().arg(
            m_serviceTicket, QString::number(m_gameId), QString::number(m_stoneUserId));
    qCInfo(lcStoneAuth).noquote() << "Send auth request" << QStringLiteral("Url: %1").arg(address);

    QNetworkRequest request(QUrl(address, QUrl::TolerantMode));
    // The redirect is read, not followed: its address carries the token.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *reply = NNetworkAccessManager::getManager()->get(request);
    // Released even when the session is gone before the answer comes.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] { _onLoginReply(reply); });
}

void StoneSession::_onLoginReply(QNetworkReply *reply)
{
    const ServiceReply answer(reply);
    if (answer.failed()) {
        _reportFailure(LoginFailed, answer);
        return;
    }
    const QUrl location(QString::fromUtf8(reply->rawHeader("Location")), QUrl::TolerantMode);
    // A missing token and one the session rejects end alike: no identity to go on with.
    if (!_processJWT(QUrlQuery(location).queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded))) {
        _reportFailure(NoJwt);
        return;
    }
    const bool emailRequired = NApplication::instance().configManager()->authFields().contains(QLatin1String("email"));
    if (login().isEmpty() && emailRequired)
        Q_EMIT needSendEmail();
    else
        _finishAuth();
}

void StoneSession::sendEmail(const QString &email)
{
    const QJsonObject body{
        {QStringLiteral("token"), jwt()},
        {QStringLiteral("updatedFields"), QJsonObject{{QStringLiteral("email"), email}}},
    };
    QNetworkRequest request(QUrl(NApplication::instance().urlsManager()->stoneSetEmailUrl()));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    QNetworkReply *reply = NNetworkAccessManager::getManager()->post(request, QJsonDocument(body).toJson());
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        const ServiceReply answer(reply);
        Q_EMIT sendEmailFinished(!answer.failed(), answer.failed() ? answer.errorString() : QString());
    });
}

} // namespace NimblaSDK
