#include "server/ihttpserver.h"
#include "sessions/socialnetworkoauthsession.h"

#include "emulatorfixture.h"
#include "headlesschromium.h"
#include "napplication.h"
#include "signinchecks.h"
#include "simulatedbrowser.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SignInChecks;

namespace {

enum class Forgery { None, State, Code };

QString tokenEndpointPath()
{
    return QUrl(NApplication::instance().urlsManager()->oauthExchangeCodeUrl()).path();
}

// Pins the lines that every started attempt writes.
void expectAttemptLines()
{
    QTest::ignoreMessage(QtInfoMsg, startedLine());
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^State: [A-Za-z0-9]{12}$")));
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("^http://\\S+/authorize\\?")));
}

} // namespace

Q_DECLARE_METATYPE(Forgery)

class TestSocialNetworkOAuthSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void authorizationAddress_data();
    void authorizationAddress();
    void everyAttemptSendsTheSameState();

    void signsInThroughTheBrowser();
    void savedStateSignsInWithoutTheBrowser();
    void failures_data();
    void failures();
    void emptyProviderIsRefused();
    void refusedDesktopEndsTheAttempt();
    void sessionState_data();
    void sessionState();
    void signsInThroughHeadlessChromium();

private:
    EmulatorFixture m_emulator;
};

void TestSocialNetworkOAuthSession::initTestCase()
{
    QVERIFY(m_emulator.start());
}

void TestSocialNetworkOAuthSession::init()
{
    m_emulator.clearRequests();
    QVERIFY(m_emulator.loadConfig({{"authorizationTimeoutMs", 1500}}));
    ErrorLogger::instance(ErrorLoggerSettings()).clearRecentEntries();
}

void TestSocialNetworkOAuthSession::authorizationAddress_data()
{
    QTest::addColumn<QString>("authFields");
    QTest::addColumn<QString>("templateQuery");
    QTest::addColumn<QString>("scope");

    QTest::newRow("two-fields") << "email,username" << "" << "offline email username";
    QTest::newRow("no-fields") << "" << "" << "offline";
    QTest::newRow("empty-part-kept") << "email,,username" << "" << "offline email  username";
    QTest::newRow("only-a-comma") << "," << "" << "offline  ";
    QTest::newRow("template-with-query") << "email" << "display=popup&lang=en" << "offline email";
}

void TestSocialNetworkOAuthSession::authorizationAddress()
{
    QFETCH(QString, authFields);
    QFETCH(QString, templateQuery);
    QFETCH(QString, scope);

    QString endpoint = NApplication::instance().urlsManager()->loginAuthViaSocialNetwork();
    if (!templateQuery.isEmpty())
        endpoint += QLatin1Char('?') + templateQuery;
    QVERIFY(m_emulator.loadConfig({{"authFields", authFields}, {"urls", QJsonObject{{"loginAuthViaSocialNetwork", endpoint}}}}));

    SimulatedBrowser browser;
    browser.setIdle(true);
    browser.install();
    SocialNetworkOAuthSession session(QStringLiteral("testbook"), nullptr);
    QSignalSpy ready(&session, &SocialNetworkOAuthSession::loginUrlIsReady);
    int openedWhenReady = -1;
    connect(&session, &SocialNetworkOAuthSession::loginUrlIsReady, this,
            [&] { openedWhenReady = browser.opened().size(); });

    expectAttemptLines();
    session.tryLogin();

    QCOMPARE(ready.count(), 1);
    QCOMPARE(openedWhenReady, 0);
    const QUrl address(ready.at(0).at(0).toString());
    QCOMPARE(browser.opened(), QList<QUrl>{address});
    QCOMPARE(address.path(), QUrl(endpoint.arg(QStringLiteral("testbook"))).path());

    QStringList names;
    for (const auto &item : QUrlQuery(address).queryItems())
        names.append(item.first);
    QStringList expectedNames;
    for (const auto &item : QUrlQuery(templateQuery).queryItems())
        expectedNames.append(item.first);
    expectedNames << "client_id" << "response_type" << "state" << "redirect_uri" << "scope";
    QCOMPARE(names, expectedNames);

    QCOMPARE(queryValue(address, "client_id"), QString::number(NApplication::instance().configManager()->oauth2ClientId()));
    QCOMPARE(queryValue(address, "response_type"), QStringLiteral("code"));
    QVERIFY(QRegularExpression(QStringLiteral("^[A-Za-z0-9]{12}$")).match(queryValue(address, "state")).hasMatch());
    QCOMPARE(queryValue(address, "scope"), scope);
    const quint16 port = listenerPort(address, "redirect_uri");
    QCOMPARE(queryValue(address, "redirect_uri"), QStringLiteral("http://localhost:") + QString::number(port));
    QVERIFY(listens(port));
}

void TestSocialNetworkOAuthSession::everyAttemptSendsTheSameState()
{
    SimulatedBrowser browser;
    browser.setIdle(true);
    browser.install();
    SocialNetworkOAuthSession session(QStringLiteral("testbook"), nullptr);
    QSignalSpy ready(&session, &SocialNetworkOAuthSession::loginUrlIsReady);

    expectAttemptLines();
    session.tryLogin();
    const QUrl first(ready.at(0).at(0).toString());
    QTest::ignoreMessage(QtInfoMsg, "Can't start local server. It's already started on port "
                                            + QByteArray::number(listenerPort(first, "redirect_uri")));
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^State: ")));
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("^http://")));
    session.tryLogin();

    QCOMPARE(ready.count(), 2);
    QCOMPARE(ready.at(1).at(0).toString(), first.toString());
}

void TestSocialNetworkOAuthSession::signsInThroughTheBrowser()
{
    SimulatedBrowser browser;
    browser.install();
    QSignalSpy walked(&browser, &SimulatedBrowser::finished);
    SocialNetworkOAuthSession session(QStringLiteral("testbook"), nullptr);
    QSignalSpy ready(&session, &SocialNetworkOAuthSession::loginUrlIsReady);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);
    bool onMainThread = false;
    connect(&session, &AbstractSession::loginFinished, this,
            [&] { onMainThread = QThread::currentThread() == QCoreApplication::instance()->thread(); });

    expectAttemptLines();
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    session.tryLogin();

    QVERIFY(finished.wait(15000));
    QVERIFY(onMainThread);
    QCOMPARE(session.login(), QStringLiteral("frank-testbook@example.com"));
    QCOMPARE(session.externalUserId(), QStringLiteral("testbook-000042"));
    QTRY_COMPARE(walked.count(), 1);
    QCOMPARE(browser.hops().size(), 3);
    QCOMPARE(browser.hops().at(1).status, 302);
    QCOMPARE(browser.hops().at(2).url, QUrl(NApplication::instance().configManager()->callbackUrl()));

    // The code went to the token endpoint with the redirect address it was issued for.
    const QJsonArray exchanges = m_emulator.requests(tokenEndpointPath());
    QCOMPARE(exchanges.size(), 1);
    const QUrlQuery form(exchanges.at(0).toObject().value("body").toString());
    QCOMPARE(form.queryItemValue("grant_type"), QStringLiteral("authorization_code"));
    QCOMPARE(form.queryItemValue("redirect_uri", QUrl::FullyDecoded),
             queryValue(QUrl(ready.at(0).at(0).toString()), "redirect_uri"));

    const QJsonObject state = session.sessionState();
    QCOMPARE(state.value("access_token").toString(), session.jwt());
    QVERIFY(!state.value("refresh_token").toString().isEmpty());

    QVERIFY(!errors.wait(2500));
    QVERIFY(errorReports().isEmpty());
}

void TestSocialNetworkOAuthSession::savedStateSignsInWithoutTheBrowser()
{
    SimulatedBrowser browser;
    browser.install();
    SocialNetworkOAuthSession first(QStringLiteral("testbook"), nullptr);
    QSignalSpy firstFinished(&first, &AbstractSession::loginFinished);
    expectAttemptLines();
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    first.tryLogin();
    QVERIFY(firstFinished.wait(15000));
    const QJsonObject saved = first.sessionState();
    m_emulator.clearRequests();

    SocialNetworkOAuthSession restored(QStringLiteral("testbook"), nullptr);
    QSignalSpy finished(&restored, &AbstractSession::loginFinished);
    restored.setSessionState(saved);
    restored.refresh();

    QVERIFY(finished.wait(15000));
    QCOMPARE(browser.opened().size(), 1);
    QCOMPARE(restored.userName(), QStringLiteral("frank"));
    const QJsonArray exchanges = m_emulator.requests(tokenEndpointPath());
    QCOMPARE(exchanges.size(), 1);
    const QUrlQuery form(exchanges.at(0).toObject().value("body").toString());
    QCOMPARE(form.queryItemValue("grant_type"), QStringLiteral("refresh_token"));
    QCOMPARE(form.queryItemValue("refresh_token", QUrl::FullyDecoded), saved.value("refresh_token").toString());
    QCOMPARE(form.queryItemValue("redirect_uri", QUrl::FullyDecoded), NApplication::instance().configManager()->callbackUrl());
}

void TestSocialNetworkOAuthSession::failures_data()
{
    QTest::addColumn<QString>("provider");
    QTest::addColumn<bool>("idleBrowser");
    QTest::addColumn<Forgery>("forgery");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("reportTitle");
    QTest::addColumn<int>("exchanges");

    QTest::newRow("no-code") << "testbook-notoken" << false << Forgery::None << "^Network error$"
                             << "Social auth: network error" << 0;
    QTest::newRow("unknown-provider") << "nosuch" << false << Forgery::None << "^Network error$"
                                      << "Social auth: network error" << 0;
    QTest::newRow("state-mismatch") << "testbook" << false << Forgery::State << "^Login url is compromised$" << "" << 0;
    QTest::newRow("forged-code") << "testbook" << false << Forgery::Code << "^invalid_grant"
                                 << "NimblaOAuthLogin: Failed auth" << 1;
    QTest::newRow("browser-closed") << "testbook" << true << Forgery::None << "^Authorization timeout$"
                                    << "Social auth: Timeout error" << 0;
}

void TestSocialNetworkOAuthSession::failures()
{
    QFETCH(QString, provider);
    QFETCH(bool, idleBrowser);
    QFETCH(Forgery, forgery);
    QFETCH(QString, message);
    QFETCH(QString, reportTitle);
    QFETCH(int, exchanges);

    SimulatedBrowser browser;
    browser.setIdle(idleBrowser);
    // Forges the redirect that comes back to the listener.
    browser.setRewrite([forgery](QUrl url) {
        if (url.host() != QLatin1String("localhost") || forgery == Forgery::None)
            return url;
        QUrlQuery query(url);
        const QString name = forgery == Forgery::State ? QStringLiteral("state") : QStringLiteral("code");
        query.removeAllQueryItems(name);
        query.addQueryItem(name, QStringLiteral("forged0forged"));
        url.setQuery(query);
        return url;
    });
    browser.install();
    SocialNetworkOAuthSession session(provider, nullptr);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);

    expectAttemptLines();
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    const bool unanswered = message == QLatin1String("^Network error$");
    if (unanswered) {
        QTest::ignoreMessage(QtInfoMsg, "Social Auth with OAuth2 Failed!");
        QTest::ignoreMessage(QtCriticalMsg, "Can't get JWT token");
    }
    if (forgery == Forgery::Code) {
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("^exchange code failed invalid_grant")));
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("^Reply: ")));
    }
    session.tryLogin();

    QVERIFY(errors.wait(15000));
    QVERIFY(!listens(listenerPort(browser.opened().value(0), "redirect_uri")));
    QCOMPARE(m_emulator.requests(tokenEndpointPath()).size(), exchanges);
    QCOMPARE(finished.count(), 0);

    // A browser may repeat a request that got no answer at all, and each
    // repeat that reached the listener is one more failed callback.
    QVERIFY(unanswered ? errors.count() >= 1 : errors.count() == 1);
    const QList<QJsonObject> reports = errorReports();
    QCOMPARE(reports.size(), reportTitle.isEmpty() ? 0 : errors.count());
    for (int i = 0; i < errors.count(); ++i) {
        QVERIFY2(QRegularExpression(message).match(errors.at(i).at(0).toString()).hasMatch(),
                 qPrintable(errors.at(i).at(0).toString()));
        if (!reportTitle.isEmpty())
            QCOMPARE(reports.at(i).value("message").toString(), reportTitle);
    }
}

void TestSocialNetworkOAuthSession::emptyProviderIsRefused()
{
    SimulatedBrowser browser;
    browser.install();
    SocialNetworkOAuthSession session(QString(), nullptr);
    QSignalSpy ready(&session, &SocialNetworkOAuthSession::loginUrlIsReady);
    QSignalSpy errors(&session, &AbstractSession::error);

    QTest::ignoreMessage(QtCriticalMsg, "Social provider not chosen");
    session.tryLogin();

    QCOMPARE(errors.count(), 1);
    QCOMPARE(errors.at(0).at(0).toString(), QStringLiteral("Social provider not chosen"));
    QCOMPARE(ready.count(), 0);
    QVERIFY(browser.opened().isEmpty());
    QCOMPARE(session.findChild<IHttpServer *>()->port(), 0);
    const QList<QJsonObject> reports = errorReports();
    QCOMPARE(reports.size(), 1);
    QCOMPARE(reports.at(0).value("message").toString(), QStringLiteral("SocialAuth: Social provider not choosen"));
}

void TestSocialNetworkOAuthSession::refusedDesktopEndsTheAttempt()
{
    SocialNetworkOAuthSession session(QStringLiteral("testbook"), nullptr);
    QSignalSpy ready(&session, &SocialNetworkOAuthSession::loginUrlIsReady);
    QSignalSpy refused(&session, &SocialNetworkOAuthSession::openUrlExternallyError);
    QSignalSpy errors(&session, &AbstractSession::error);

    // No handler is installed, and the test platform has no browser to offer.
    expectAttemptLines();
    QTest::ignoreMessage(QtWarningMsg, refusedByDesktop());
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    session.tryLogin();

    QCOMPARE(refused.count(), 1);
    QCOMPARE(refused.at(0).at(0).toString(), ready.at(0).at(0).toString());
    QVERIFY(!listens(listenerPort(QUrl(ready.at(0).at(0).toString()), "redirect_uri")));
    QVERIFY(!errors.wait(2500));
    QVERIFY(errorReports().isEmpty());
}

void TestSocialNetworkOAuthSession::sessionState_data()
{
    QTest::addColumn<QJsonObject>("restored");
    QTest::addColumn<QJsonObject>("expected");

    QTest::newRow("both-tokens") << QJsonObject{{"access_token", "A"}, {"refresh_token", "R"}}
                                 << QJsonObject{{"access_token", "A"}, {"refresh_token", "R"}};
    QTest::newRow("refresh-only") << QJsonObject{{"refresh_token", "R"}, {"provider", "testbook"}}
                                  << QJsonObject{{"access_token", ""}, {"refresh_token", "R"}};
    QTest::newRow("not-text") << QJsonObject{{"access_token", 5}, {"refresh_token", QJsonArray{"R"}}}
                              << QJsonObject{{"access_token", ""}, {"refresh_token", ""}};
}

void TestSocialNetworkOAuthSession::sessionState()
{
    QFETCH(QJsonObject, restored);
    QFETCH(QJsonObject, expected);

    SocialNetworkOAuthSession session(QStringLiteral("testbook"), nullptr);
    const QJsonObject nothingHeld{{"access_token", QJsonValue::Null}, {"refresh_token", QJsonValue::Null}};
    QCOMPARE(session.sessionState(), nothingHeld);
    session.setSessionState(restored);
    QCOMPARE(session.sessionState(), expected);
}

void TestSocialNetworkOAuthSession::signsInThroughHeadlessChromium()
{
    QVERIFY(m_emulator.loadConfig());
    QVERIFY2(!HeadlessChromium::executable().isEmpty(), "chromium is part of the test set-up (scripts/lib.sh)");
    HeadlessChromium chromium;
    chromium.install();
    SocialNetworkOAuthSession session(QStringLiteral("testbook"), nullptr);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);

    expectAttemptLines();
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    session.tryLogin();

    QVERIFY(finished.wait(50000));
    QCOMPARE(errors.count(), 0);
    QCOMPARE(chromium.opened().size(), 1);
    QCOMPARE(session.login(), QStringLiteral("frank-testbook@example.com"));
    QCOMPARE(m_emulator.requests(tokenEndpointPath()).size(), 1);
}

QTEST_MAIN(TestSocialNetworkOAuthSession)
#include "tst_socialnetworkoauthsession.moc"
