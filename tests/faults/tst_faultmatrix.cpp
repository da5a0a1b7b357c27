#include "abstactoauthsession.h"
#include "attributes/userattributes.h"
#include "authmanager.h"
#include "jwt/jwtchecker.h"
#include "jwt/nimblaloginjwtvalidator.h"
#include "sessions/mailrusession.h"
#include "sessions/nimblaloginoauthsession.h"
#include "sessions/nimblaloginsession.h"
#include "sessions/playfabloginsession.h"
#include "sessions/socialnetworkoauthsession.h"
#include "sessions/socialnetworksession.h"
#include "sessions/steamoauthsession.h"
#include "sessions/steamplayfabsession.h"
#include "sessions/steamsession.h"
#include "sessions/stonesession.h"
#include "storage/otpexchanger.h"

#include "emulatorfixture.h"
#include "httpapirequester.h"
#include "napplication.h"
#include "simulatedbrowser.h"
#include "steamstandin.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QtTest>

#include <functional>

using namespace NimblaSDK;

/*
 * Every network operation of the library against every way a service can
 * fail. Each cell ends as the operation's failure table says, within the
 * request time-out and a small margin, or stays silent where the table says
 * the operation ends without a signal.
 */

namespace {

constexpr int RequestTimeout = 1500;
// Room for a loaded machine and the sanitizers, and for the steps before the
// faulty request: the widget settings of a password login, the browser's walk
// to the listener of a social sign-in.
constexpr int Margin = 1000;

enum class Operation {
    WidgetSettings,
    DirectLogin,
    ProxyLogin,
    OAuthPasswordLogin,
    CodeExchange,
    RefreshExchange,
    BlockingChecker,
    AsyncChecker,
    BearerValidator,
    OtpExchange,
    SocialToken,
    SocialOAuthToken,
    SocialProviders,
    AttributesGet,
    AttributesUpdate,
    SteamLogin,
    SteamOAuthLogin,
    SteamSetEmail,
    PlayfabLogin,
    PlayfabCrossAuth,
    MailRuLogin,
    MailRuRedirect,
    StoneLogin,
    SteamPlayfabLogin,
    SteamPlayfabCrossAuth,
    SteamPlayfabSetEmail,
};

// A regular expression for an outcome that is written out literally.
QString literal(const QString &outcome)
{
    return QRegularExpression::escape(outcome);
}

// What an operation shows for each kind of failure, as regular expressions
// over the outcomes that Recorder writes down.
struct Row
{
    const char *tag;
    Operation operation;
    const char *urlKey; //!< the configured URL that the fault is aimed at
    std::function<QString(const QString &networkError)> onNetworkError;
    QString onUnauthorized;
    QString onUnusableAnswer; //!< a 200 whose body the operation cannot use; empty: silence
    const char *whySilent = "";
};

// A new row needs a group in CMakeLists.txt too, or CTest never runs it.
QList<Row> rows()
{
    const auto sessionError = [](const QString &networkError) { return literal("error: ") + networkError; };
    const auto always = [](const QString &outcome) {
        return [outcome](const QString &) { return literal(outcome); };
    };
    const QString incorrectPassword = literal("error: Login or password is incorrect");
    const char *passwordSilence = "a 200 answer with neither \"login_url\" nor \"error\" ends the password login "
                                  "without a signal";
    const char *tokenSilence = "a token answer without \"access_token\" ends silently";
    const QString serviceRefusal = literal("error: Authorization required");
    const QString settingsFailed = literal("error: Failed load Nimbla Login settings");
    // Any other status leaves the message empty, so the description follows a blank.
    const auto attributesFailed = [](const char *signal) {
        return [signal](const QString &networkError) {
            return literal(QStringLiteral("%1: 2  Error description: ").arg(QLatin1String(signal))) + networkError;
        };
    };
    const QString attributesRefused = literal(" Error description: Host requires authentication");
    // The game-centre sign-in shows the reply's own error text, whatever the answer says.
    const QString httpUnauthorized = literal("error: Host requires authentication");
    const QString stoneFailed = QStringLiteral("Login failed. Can't get login information.");

    return {
        // Not JSON, or no known key: the project logs in directly.
        {"widget-settings", Operation::WidgetSettings, "widgetSettingsUrl", always("error: Failed load Nimbla Login settings"),
         settingsFailed, literal("tryLogin")},
        {"direct-login", Operation::DirectLogin, "loginUrl", sessionError, incorrectPassword, {}, passwordSilence},
        {"proxy-login", Operation::ProxyLogin, "proxyLoginUrl", sessionError, incorrectPassword, {}, passwordSilence},
        {"oauth2-password-login", Operation::OAuthPasswordLogin, "oauthLoginUrl", sessionError, incorrectPassword, {},
         passwordSilence},
        {"code-exchange", Operation::CodeExchange, "oauthExchangeCodeUrl", sessionError, serviceRefusal, {}, tokenSilence},
        {"refresh-exchange", Operation::RefreshExchange, "oauthExchangeCodeUrl", sessionError, serviceRefusal, {},
         tokenSilence},
        // Any answer without a network error counts as valid on this path.
        {"blocking-checker", Operation::BlockingChecker, "validateJWTUrl", always("validateJWT: false"),
         literal("validateJWT: false"), literal("validateJWT: true")},
        // Only a 204 counts as valid on this path.
        {"async-checker", Operation::AsyncChecker, "validateJWTUrl", always("jwtValidated: false"),
         literal("jwtValidated: false"), literal("jwtValidated: false")},
        {"bearer-validator", Operation::BearerValidator, "getUserAttributesUrl", always("invalid"), literal("invalid"),
         literal("valid")},
        {"otp-exchange", Operation::OtpExchange, "exchangeOtpUrl", always("error"), literal("error"), literal("error")},
        // The listener checks the token with the blocking checker, so a token
        // is taken on any answer without a network error.
        {"social-token", Operation::SocialToken, "validateJWTUrl", always("error: Network error"),
         literal("error: Network error"), literal("loginFinished")},
        {"social-oauth2-token", Operation::SocialOAuthToken, "oauthExchangeCodeUrl", sessionError, serviceRefusal, {},
         tokenSilence},
        // An answer without "socialLinks" publishes an empty list.
        {"social-providers", Operation::SocialProviders, "socialNetworksListUrl",
         always("error: Failed download social providers"), literal("error: Failed download social providers"),
         literal("providers: 0")},
        // A 200 that is not an array of attributes reads as none.
        {"attributes-get", Operation::AttributesGet, "getUserAttributesUrl", attributesFailed("getFinished"),
         literal("getFinished: 2 ") + attributesRefused, literal("getFinished: 0 ")},
        {"attributes-update", Operation::AttributesUpdate, "updateUserAttributesUrl", attributesFailed("updateFinished"),
         literal("updateFinished: 2 ") + attributesRefused, literal("updateFinished: 0 ")},
        // The stand-in Steam client hands out the ticket of a seeded account with an e-mail.
        // An answer without a redirect is a token-less one: the e-mail check asks for an address.
        {"steam-login", Operation::SteamLogin, "steamLoginUrl", sessionError,
         literal("error: Host requires authentication"), literal("needSendEmail")},
        {"steam-oauth2-login", Operation::SteamOAuthLogin, "steamOAuthLoginUrl", sessionError,
         literal("error: Host requires authentication"), literal("error: Login url is compromised")},
        // Any answer without a network error is a stored address.
        {"steam-set-email", Operation::SteamSetEmail, "steamSetEmailUrl", always("sendEmailFinished: false"),
         literal("sendEmailFinished: false"), literal("sendEmailFinished: true")},
        // PlayFab's "errorMessage" is what the player sees; a failure that PlayFab
        // did not explain is told by the network's words. An answer without "data"
        // goes on to the cross-auth with an empty ticket, which the service refuses.
        {"playfab-login", Operation::PlayfabLogin, "playfabLoginUrl", sessionError,
         literal("error: Host requires authentication"), literal("error: Unknown or expired session ticket")},
        // A redirect without "token" or "error" says nothing.
        {"playfab-cross-auth", Operation::PlayfabCrossAuth, "playfabCrossAuthUrl", sessionError,
         literal("error: Host requires authentication"), literal("error: ")},
        // A 200 without a redirect leaves no address to fetch next.
        {"mailru-login", Operation::MailRuLogin, "mailruLoginUrl", sessionError, httpUnauthorized,
         literal("error: Protocol \"\" is unknown")},
        // Any answer of the redirect target without a network error finishes the sign-in.
        {"mailru-redirect", Operation::MailRuRedirect, "mailruLoginUrl", sessionError, httpUnauthorized,
         literal("loginFinished")},
        // An answer without a redirect carries no token.
        {"stone-login", Operation::StoneLogin, "stoneLoginUrl", always("error: " + stoneFailed),
         literal("error: " + stoneFailed), literal("error: " + stoneFailed)},
        // The stand-in's Steam account is new to PlayFab, which creates its player.
        {"steam-playfab-login", Operation::SteamPlayfabLogin, "playfabSteamLoginUrl", sessionError,
         literal("error: Host requires authentication"), literal("error: Unknown or expired session ticket")},
        {"steam-playfab-cross-auth", Operation::SteamPlayfabCrossAuth, "playfabCrossAuthUrl", sessionError,
         literal("error: Host requires authentication"), literal("error: ")},
        {"steam-playfab-set-email", Operation::SteamPlayfabSetEmail, "steamSetEmailUrl",
         always("sendEmailFinished: false"), literal("sendEmailFinished: false"), literal("sendEmailFinished: true")},
    };
}

enum class FaultKind { NetworkError, Unauthorized, UnusableAnswer };

struct Fault
{
    const char *tag;
    QJsonObject emulatorFault; //!< empty: nothing listens at the operation's address
    FaultKind kind;
    QString networkError; //!< the reply's error text, a regular expression
};

QList<Fault> faults()
{
    const QString padding = QStringLiteral("{\"padding\": \"%1\"}").arg(QString(40, QLatin1Char('x')));
    return {
        {"nothing-listening", {}, FaultKind::NetworkError, literal("Connection refused")},
        {"500", {{"status", 500}, {"body", "Internal Server Error"}, {"contentType", "text/plain"}},
         FaultKind::NetworkError,
         literal("Error transferring ") + "http://\\S+" + literal(" - server replied: Internal Server Error")},
        {"401", {{"status", 401}, {"body", "{\"error\": {\"code\": 401, \"description\": \"Authorization required\"}}"}},
         FaultKind::Unauthorized, {}},
        {"malformed-json", {{"status", 200}, {"body", "{\"login_url\": \"http://127.0.0.1/callback?token="}},
         FaultKind::UnusableAnswer, {}},
        {"empty-body", {{"status", 200}, {"body", ""}}, FaultKind::UnusableAnswer, {}},
        {"json-array", {{"status", 200}, {"body", "[{\"error\": {\"description\": \"inside an array\"}}]"}},
         FaultKind::UnusableAnswer, {}},
        // The real answer comes long after the time-out.
        {"hang", {{"delayMs", 5000}}, FaultKind::NetworkError, literal("Operation canceled")},
        // Never silent for a whole time-out, and done only long after it.
        {"trickle", {{"trickleMs", 100}, {"status", 200}, {"body", padding}}, FaultKind::NetworkError,
         literal("Operation canceled")},
        {"cut", {{"cutBody", true}, {"status", 200}, {"body", padding}}, FaultKind::NetworkError,
         literal("Connection closed")},
    };
}

// Writes down every outcome signal of the operation under test, in order.
class Recorder : public QObject
{
    Q_OBJECT

public:
    void record(const QString &outcome)
    {
        outcomes << outcome;
        Q_EMIT recorded();
    }

    QStringList outcomes;

Q_SIGNALS:
    void recorded();
};

class ProbeSession : public AbstractSession
{
public:
    ProbeSession(Recorder &recorder, QObject *parent)
        : AbstractSession(parent)
        , m_recorder(recorder)
    {
    }

    void tryLogin() override { m_recorder.record(QStringLiteral("tryLogin")); }

private:
    Recorder &m_recorder;
};

class ExchangeSession : public AbstactOAuthSession
{
public:
    using AbstactOAuthSession::AbstactOAuthSession;
    using AbstactOAuthSession::_oauthGetJwt;

    void tryLogin() override {}
};

template <typename Session>
void recordSession(Session *session, Recorder &recorder)
{
    QObject::connect(session, &AbstractSession::error, &recorder,
                     [&recorder](const QString &text) { recorder.record("error: " + text); });
    QObject::connect(session, &AbstractSession::loginFinished, &recorder,
                     [&recorder] { recorder.record(QStringLiteral("loginFinished")); });
}

template <typename Session>
Session *steamSession(Recorder &recorder, QObject *owner)
{
    auto *session = new Session(owner);
    recordSession(session, recorder);
    QObject::connect(session, &Session::needSendEmail, &recorder,
                     [&recorder] { recorder.record(QStringLiteral("needSendEmail")); });
    QObject::connect(session, &Session::sendEmailFinished, &recorder, [&recorder](bool success) {
        recorder.record(QStringLiteral("sendEmailFinished: ") + (success ? "true" : "false"));
    });
    if constexpr (SteamStandIn::HasSteamAppId<Session>::value)
        session->setSteamAppId(QStringLiteral("700100"));
    return session;
}

template <typename PasswordSession>
PasswordSession *passwordSession(Recorder &recorder, QObject *owner)
{
    auto *session = new PasswordSession(owner);
    recordSession(session, recorder);
    QObject::connect(session, &PasswordSession::captchaIsNeeded, &recorder,
                     [&recorder] { recorder.record(QStringLiteral("captchaIsNeeded")); });
    QObject::connect(session, &PasswordSession::privatePolicyIsNeeded, &recorder,
                     [&recorder] { recorder.record(QStringLiteral("privatePolicyIsNeeded")); });
    session->setLogin(QStringLiteral("alice@example.com"));
    session->setPassword(QStringLiteral("alice-password"));
    return session;
}

QString url(const char *key)
{
    return NApplication::instance().configManager()->urls().value(QLatin1String(key)).toString();
}

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestFaultMatrix : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void cell_data();
    void cell();

private:
    //! Starts \a operation, with \a jwt where it checks one; its objects are children of \a owner.
    void start(Operation operation, const QString &jwt, Recorder &recorder, QObject *owner);
    QString emulatorAddress(const char *key) const;

    EmulatorFixture m_emulator;
    QString m_closedPort;
};

void TestFaultMatrix::initTestCase()
{
    QVERIFY(m_emulator.start());
    QTcpServer probe;
    QVERIFY(probe.listen(QHostAddress::LocalHost));
    m_closedPort = QString::number(probe.serverPort());
}

void TestFaultMatrix::init()
{
    m_emulator.clearFaults();
}

QString TestFaultMatrix::emulatorAddress(const char *key) const
{
    return m_emulator.config().value(QStringLiteral("urls")).toObject().value(QLatin1String(key)).toString();
}

void TestFaultMatrix::cell_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("urlKey");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("whySilent");

    // CTest runs the matrix in groups of operations, so that the groups share the cores.
    const QRegularExpression group(qEnvironmentVariable("NIMBLA_FAULT_ROWS"));
    for (const Row &row : rows()) {
        if (!group.match(QLatin1String(row.tag)).hasMatch())
            continue;
        for (const Fault &fault : faults()) {
            QString expected;
            switch (fault.kind) {
            case FaultKind::NetworkError:
                expected = row.onNetworkError(fault.networkError);
                break;
            case FaultKind::Unauthorized:
                expected = row.onUnauthorized;
                break;
            case FaultKind::UnusableAnswer:
                expected = row.onUnusableAnswer;
                break;
            }
            QTest::addRow("%s/%s", row.tag, fault.tag)
                    << row.operation << QString::fromLatin1(row.urlKey) << fault.emulatorFault << expected
                    << QString::fromLatin1(row.whySilent);
        }
    }
}

void TestFaultMatrix::cell()
{
    QFETCH(Operation, operation);
    QFETCH(QString, urlKey);
    QFETCH(QJsonObject, fault);
    QFETCH(QString, expected);
    QFETCH(QString, whySilent);

    QJsonObject urls;
    // The direct login follows widget settings that say so.
    if (operation == Operation::DirectLogin)
        urls.insert("widgetSettingsUrl",
                    emulatorAddress("widgetSettingsUrl").replace("nimbla-demo-project", "nimbla-direct-project"));
    const QString address = emulatorAddress(urlKey.toLatin1().constData());
    // The emulator's Mail.Ru login sends the session on to the address in its
    // "landing" query item: that one fails for the redirect's row.
    const QString faulty = operation == Operation::MailRuRedirect
            ? address.section(QLatin1Char('?'), 0, 0).replace(QLatin1String("/login"), QLatin1String("/landing"))
            : address;
    // By port: PlayFab's hosts are spelt in their own way.
    const QString closed = QString(faulty).replace(QStringLiteral(":%1/").arg(m_emulator.baseUrl().port()),
                                                   QStringLiteral(":%1/").arg(m_closedPort));
    if (operation == Operation::MailRuRedirect)
        urls.insert(urlKey, address + "&landing=" + (fault.isEmpty() ? closed : faulty));
    else if (fault.isEmpty())
        urls.insert(urlKey, closed);
    if (!fault.isEmpty())
        m_emulator.injectFault(QUrl(faulty.section(QLatin1Char('?'), 0, 0)), fault);
    // An account name of its own keeps the password sessions away from the other tests' saved accounts.
    QVERIFY(m_emulator.loadConfig({{"appAccountName", "FaultMatrixTests"},
                                   {"network", QJsonObject{{"requestTimeoutMs", RequestTimeout}}},
                                   {"urls", urls}}));

    const QString jwt = m_emulator.token(QStringLiteral("alice@example.com"));
    QObject owner;
    Recorder recorder;
    QSignalSpy recorded(&recorder, &Recorder::recorded);
    QElapsedTimer clock;
    clock.start();
    start(operation, jwt, recorder, &owner);

    if (expected.isEmpty()) {
        recorded.wait(RequestTimeout);
        QVERIFY2(recorder.outcomes.isEmpty(), qPrintable(QStringLiteral("silent, since %1; got: %2")
                                                                 .arg(whySilent, recorder.outcomes.join(" | "))));
        return;
    }
    if (recorder.outcomes.isEmpty())
        recorded.wait(RequestTimeout + Margin);
    const qint64 elapsed = clock.elapsed();
    QVERIFY2(!recorder.outcomes.isEmpty(), qPrintable(QStringLiteral("silent for %1 ms").arg(elapsed)));
    QVERIFY2(elapsed <= RequestTimeout + Margin, qPrintable(QStringLiteral("ended after %1 ms").arg(elapsed)));
    const QRegularExpression pattern(QStringLiteral("^%1$").arg(expected));
    QVERIFY2(recorder.outcomes.size() == 1 && pattern.match(recorder.outcomes.constFirst()).hasMatch(),
             qPrintable(QStringLiteral("expected %1; got: %2").arg(expected, recorder.outcomes.join(" | "))));
}

void TestFaultMatrix::start(Operation operation, const QString &jwt, Recorder &recorder, QObject *owner)
{
    switch (operation) {
    case Operation::WidgetSettings: {
        auto *session = new ProbeSession(recorder, owner);
        recordSession(session, recorder);
        session->checkLoginType();
        break;
    }
    case Operation::DirectLogin:
    case Operation::ProxyLogin:
        passwordSession<NimblaLoginSession>(recorder, owner)->checkLoginType();
        break;
    case Operation::OAuthPasswordLogin:
        passwordSession<NimblaLoginOAuthSession>(recorder, owner)->tryLogin();
        break;
    case Operation::CodeExchange: {
        auto *session = new ExchangeSession(owner);
        recordSession(session, recorder);
        session->_oauthGetJwt(QStringLiteral("code-from-the-service"),
                              NApplication::instance().configManager()->callbackUrl(), false);
        break;
    }
    case Operation::RefreshExchange: {
        auto *session = passwordSession<NimblaLoginOAuthSession>(recorder, owner);
        session->setSessionState({{"access_token", "earlier-jwt"}, {"refresh_token", "earlier-refresh-token"}});
        session->refresh();
        break;
    }
    case Operation::BlockingChecker: {
        const bool valid = (new JWTchecker(owner))->validateJWT(jwt);
        recorder.record(QStringLiteral("validateJWT: ") + (valid ? "true" : "false"));
        break;
    }
    case Operation::AsyncChecker: {
        auto *checker = new JWTchecker(owner);
        QObject::connect(checker, &JWTchecker::jwtValidated, &recorder, [&recorder](bool valid) {
            recorder.record(QStringLiteral("jwtValidated: ") + (valid ? "true" : "false"));
        });
        checker->validateJWTAsync(jwt);
        break;
    }
    case Operation::BearerValidator: {
        auto *validator = new NimblaLoginJwtValidator(owner);
        QObject::connect(validator, &IJwtValidator::valid, &recorder,
                         [&recorder] { recorder.record(QStringLiteral("valid")); });
        QObject::connect(validator, &IJwtValidator::invalid, &recorder,
                         [&recorder] { recorder.record(QStringLiteral("invalid")); });
        validator->setTestEndpoint(QUrl(url("getUserAttributesUrl")));
        validator->validate(jwt);
        break;
    }
    case Operation::OtpExchange: {
        auto *exchanger = new OtpExchanger(owner);
        QObject::connect(exchanger, &IOtpExchanger::exchanged, &recorder,
                         [&recorder] { recorder.record(QStringLiteral("exchanged")); });
        QObject::connect(exchanger, &IOtpExchanger::error, &recorder,
                         [&recorder] { recorder.record(QStringLiteral("error")); });
        exchanger->exchange(QStringLiteral("otp-of-the-fault-matrix"));
        break;
    }
    case Operation::SocialToken: {
        (new SimulatedBrowser(owner))->install();
        auto *session = new SocialNetworkSession(owner);
        recordSession(session, recorder);
        session->setNetworkLink(QStringLiteral("%1/projects/%2/social/testbook/login")
                .arg(m_emulator.baseUrl().toString(), NApplication::instance().configManager()->loginProjectId()));
        session->tryLogin();
        break;
    }
    case Operation::SocialOAuthToken: {
        (new SimulatedBrowser(owner))->install();
        auto *session = new SocialNetworkOAuthSession(QStringLiteral("testbook"), owner);
        recordSession(session, recorder);
        session->tryLogin();
        break;
    }
    case Operation::AttributesGet:
    case Operation::AttributesUpdate: {
        auto requester = QSharedPointer<HttpApiRequester>::create(nullptr);
        requester->authorized({{QStringLiteral("access_token"), jwt}});
        auto *attributes = new UserAttributes(requester, QSharedPointer<AuthManager>(), owner);
        attributes->setPublisherID(7);
        attributes->setUserID(QStringLiteral("7d1f6a52-0001-4c1e-9a11-a11ce0000001"));
        attributes->setKeys({QStringLiteral("title")});
        const auto recordAs = [&recorder](const char *signal) {
            return [&recorder, signal](const UserAttributesError &error) {
                recorder.record(QStringLiteral("%1: %2 %3").arg(QLatin1String(signal)).arg(error.code).arg(error.message));
            };
        };
        QObject::connect(attributes, &UserAttributes::getFinished, &recorder, recordAs("getFinished"));
        QObject::connect(attributes, &UserAttributes::updateFinished, &recorder, recordAs("updateFinished"));
        if (operation == Operation::AttributesGet)
            attributes->get();
        else
            attributes->update();
        break;
    }
    case Operation::PlayfabLogin:
    case Operation::PlayfabCrossAuth: {
        auto *session = new PlayfabLoginSession(owner);
        recordSession(session, recorder);
        session->setLogin(QStringLiteral("alice@example.com"));
        session->setPassword(QStringLiteral("alice-password"));
        session->tryLogin();
        break;
    }
    case Operation::SocialProviders: {
        // Every new manager starts the download at once.
        auto *manager = new AuthManager(owner);
        QObject::connect(manager, &AuthManager::error, &recorder,
                         [&recorder](const QString &text) { recorder.record("error: " + text); });
        QObject::connect(manager, &AuthManager::socialProvidersChanged, &recorder, [&recorder](const QVariantList &list) {
            recorder.record(QStringLiteral("providers: %1").arg(list.size()));
        });
        break;
    }
    case Operation::SteamLogin:
        steamSession<SteamSession>(recorder, owner)->tryLogin();
        break;
    case Operation::SteamOAuthLogin:
        steamSession<SteamOAuthSession>(recorder, owner)->tryLogin();
        break;
    case Operation::SteamSetEmail:
        steamSession<SteamSession>(recorder, owner)->sendEmail(QStringLiteral("ivan-steam@example.com"));
        break;
    case Operation::MailRuLogin:
    case Operation::MailRuRedirect: {
        auto *session = new MailRuSession(owner);
        recordSession(session, recorder);
        session->setUid(QStringLiteral("mailru-1001"));
        session->setTicked(QStringLiteral("mailru-ticket-1001"));
        session->tryLogin();
        break;
    }
    case Operation::StoneLogin: {
        // The stand-in launcher library of the emulator's configuration, with its own player.
        auto *session = new StoneSession(owner, QStringLiteral("4242"));
        recordSession(session, recorder);
        QObject::connect(session, &StoneSession::needSendEmail, &recorder,
                         [&recorder] { recorder.record(QStringLiteral("needSendEmail")); });
        session->tryLogin();
        break;
    }
    case Operation::SteamPlayfabLogin:
    case Operation::SteamPlayfabCrossAuth:
        steamSession<SteamPlayfabSession>(recorder, owner)->tryLogin();
        break;
    case Operation::SteamPlayfabSetEmail:
        steamSession<SteamPlayfabSession>(recorder, owner)->sendEmail(QStringLiteral("ivan-steam@example.com"));
        break;
    }
}

QTEST_MAIN(TestFaultMatrix)
#include "tst_faultmatrix.moc"
