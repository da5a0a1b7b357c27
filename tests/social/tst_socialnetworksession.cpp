#include "server/ihttpserver.h"
#include "sessions/socialnetworksession.h"

#include "emulatorfixture.h"
#include "filelimit.h"
#include "headlesschromium.h"
#include "napplication.h"
#include "signinchecks.h"
#include "simulatedbrowser.h"

#include <QtTest>

using namespace NimblaSDK;
using namespace SignInChecks;

class TestSocialNetworkSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void loginAddress_data();
    void loginAddress();

    void signsInThroughTheBrowser();
    void failures_data();
    void failures();
    void emptyLinkIsRefused();
    void refusedDesktopLeavesTheListenerWaiting();
    void everyAttemptAddsATimeout();
    void listenerThatCannotOpenIsSwallowed();
    void signsInThroughHeadlessChromium();

private:
    QString providerLink(const QString &provider) const;

    EmulatorFixture m_emulator;
};

QString TestSocialNetworkSession::providerLink(const QString &provider) const
{
    return QStringLiteral("%1/projects/%2/social/%3/login")
            .arg(m_emulator.baseUrl().toString(), NApplication::instance().configManager()->loginProjectId(), provider);
}

void TestSocialNetworkSession::initTestCase()
{
    QVERIFY(m_emulator.start());
}

void TestSocialNetworkSession::init()
{
    m_emulator.clearRequests();
    QVERIFY(m_emulator.loadConfig({{"authorizationTimeoutMs", 1500}}));
    ErrorLogger::instance(ErrorLoggerSettings()).clearRecentEntries();
}

void TestSocialNetworkSession::loginAddress_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("authFields");
    QTest::addColumn<QStringList>("leadingItems");

    QTest::newRow("plain-link") << "http://127.0.0.1:9/login" << "email,username" << QStringList{"fields=email,username"};
    QTest::newRow("link-with-query") << "http://127.0.0.1:9/login?a=1&b=two" << "email"
                                     << QStringList{"a=1", "b=two", "fields=email"};
    QTest::newRow("no-auth-fields") << "http://127.0.0.1:9/login" << "" << QStringList();
    QTest::newRow("link-with-query-no-fields") << "http://127.0.0.1:9/login?a=1" << "" << QStringList{"a=1"};
}

void TestSocialNetworkSession::loginAddress()
{
    QFETCH(QString, link);
    QFETCH(QString, authFields);
    QFETCH(QStringList, leadingItems);
    QVERIFY(m_emulator.loadConfig({{"authFields", authFields}}));

    SimulatedBrowser browser;
    browser.setIdle(true);
    browser.install();
    SocialNetworkSession session(nullptr);
    QSignalSpy ready(&session, &SocialNetworkSession::loginUrlIsReady);
    int openedWhenReady = -1;
    connect(&session, &SocialNetworkSession::loginUrlIsReady, this, [&] { openedWhenReady = browser.opened().size(); });

    session.setNetworkLink(link);
    QTest::ignoreMessage(QtInfoMsg, startedLine());
    session.tryLogin();

    QCOMPARE(ready.count(), 1);
    QCOMPARE(openedWhenReady, 0);
    const QUrl address(ready.at(0).at(0).toString());
    QCOMPARE(browser.opened(), QList<QUrl>{address});
    QCOMPARE(address.adjusted(QUrl::RemoveQuery), QUrl(link).adjusted(QUrl::RemoveQuery));

    QStringList items = address.query(QUrl::FullyDecoded).split(QLatin1Char('&'));
    const QString loginUrl = items.takeLast();
    QCOMPARE(items, leadingItems);
    QVERIFY2(QRegularExpression(QStringLiteral("^login_url=http://localhost:[1-9]\\d*$")).match(loginUrl).hasMatch(),
             qPrintable(loginUrl));
    QVERIFY(listens(listenerPort(address, "login_url")));
}

void TestSocialNetworkSession::signsInThroughTheBrowser()
{
    SimulatedBrowser browser;
    browser.install();
    QSignalSpy walked(&browser, &SimulatedBrowser::finished);
    SocialNetworkSession session(nullptr);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);
    bool onMainThread = false;
    connect(&session, &AbstractSession::loginFinished, this,
            [&] { onMainThread = QThread::currentThread() == QCoreApplication::instance()->thread(); });

    session.setNetworkLink(providerLink(QStringLiteral("testbook")));
    QTest::ignoreMessage(QtInfoMsg, startedLine());
    QTest::ignoreMessage(QtInfoMsg, "Social Auth Finished!");
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    session.tryLogin();

    QVERIFY(finished.wait(15000));
    QVERIFY(onMainThread);
    QCOMPARE(session.login(), QStringLiteral("frank-testbook@example.com"));
    QCOMPARE(session.userName(), QStringLiteral("frank"));
    QCOMPARE(session.externalUserId(), QStringLiteral("testbook-000042"));
    QCOMPARE(NApplication::instance().settingsManager()->getJWT(), session.jwt());

    // To the provider, back to the listener, and on to the callback page.
    QTRY_COMPARE(walked.count(), 1);
    const QList<SimulatedBrowser::Hop> hops = browser.hops();
    QCOMPARE(hops.size(), 3);
    QCOMPARE(hops.at(1).url.host(), QStringLiteral("localhost"));
    QCOMPARE(hops.at(1).status, 302);
    QCOMPARE(hops.at(2).url, QUrl(NApplication::instance().configManager()->callbackUrl()));
    QCOMPARE(hops.at(2).status, 200);

    // The time-out is off once the sign-in is over.
    QVERIFY(!errors.wait(2500));
    QVERIFY(errorReports().isEmpty());
}

void TestSocialNetworkSession::failures_data()
{
    QTest::addColumn<QString>("provider");
    QTest::addColumn<bool>("idleBrowser");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("reportTitle");

    QTest::newRow("invalid-token") << "testbook-invalid" << false << "Network error" << "Social auth: network error";
    QTest::newRow("no-token") << "testbook-notoken" << false << "Authorization timeout" << "Social auth: Timeout error";
    QTest::newRow("unknown-provider") << "nosuch" << false << "Authorization timeout" << "Social auth: Timeout error";
    QTest::newRow("browser-closed") << "testbook" << true << "Authorization timeout" << "Social auth: Timeout error";
}

void TestSocialNetworkSession::failures()
{
    QFETCH(QString, provider);
    QFETCH(bool, idleBrowser);
    QFETCH(QString, message);
    QFETCH(QString, reportTitle);

    SimulatedBrowser browser;
    browser.setIdle(idleBrowser);
    browser.install();
    SocialNetworkSession session(nullptr);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);

    session.setNetworkLink(providerLink(provider));
    QTest::ignoreMessage(QtInfoMsg, startedLine());
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    const bool unanswered = message == QLatin1String("Network error");
    if (unanswered) {
        QTest::ignoreMessage(QtInfoMsg, "Social Auth Failed!");
        QTest::ignoreMessage(QtCriticalMsg, "Can't get JWT token");
    }
    session.tryLogin();

    QVERIFY(errors.wait(15000));
    QVERIFY(!listens(listenerPort(browser.opened().value(0), "login_url")));
    QCOMPARE(finished.count(), 0);

    // A browser may repeat a request that got no answer at all, and each
    // repeat that reached the listener is one more failed callback.
    QVERIFY(unanswered ? errors.count() >= 1 : errors.count() == 1);
    const QList<QJsonObject> reports = errorReports();
    QCOMPARE(reports.size(), errors.count());
    for (int i = 0; i < errors.count(); ++i) {
        QCOMPARE(errors.at(i).at(0).toString(), message);
        QCOMPARE(reports.at(i).value("message").toString(), reportTitle);
        QCOMPARE(reports.at(i).value("details").toString(), QString());
        QCOMPARE(reports.at(i).value("area").toString(), QStringLiteral("authorization"));
    }
}

void TestSocialNetworkSession::emptyLinkIsRefused()
{
    SimulatedBrowser browser;
    browser.install();
    SocialNetworkSession session(nullptr);
    QSignalSpy ready(&session, &SocialNetworkSession::loginUrlIsReady);
    QSignalSpy errors(&session, &AbstractSession::error);

    QTest::ignoreMessage(QtCriticalMsg, "Social provider not chosen");
    session.tryLogin();

    QCOMPARE(errors.count(), 1);
    QCOMPARE(errors.at(0).at(0).toString(), QStringLiteral("Social provider not chosen"));
    QCOMPARE(ready.count(), 0);
    QVERIFY(browser.opened().isEmpty());
    QVERIFY(session.findChildren<IHttpServer *>().isEmpty());
    const QList<QJsonObject> reports = errorReports();
    QCOMPARE(reports.size(), 1);
    QCOMPARE(reports.at(0).value("message").toString(), QStringLiteral("SocialAuth: Social provider not choosen"));
}

void TestSocialNetworkSession::refusedDesktopLeavesTheListenerWaiting()
{
    SocialNetworkSession session(nullptr);
    QSignalSpy ready(&session, &SocialNetworkSession::loginUrlIsReady);
    QSignalSpy refused(&session, &SocialNetworkSession::openUrlExternallyError);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);

    // No handler is installed, and the test platform has no browser to offer.
    session.setNetworkLink(providerLink(QStringLiteral("testbook")));
    QTest::ignoreMessage(QtInfoMsg, startedLine());
    QTest::ignoreMessage(QtWarningMsg, refusedByDesktop());
    session.tryLogin();

    QCOMPARE(ready.count(), 1);
    QCOMPARE(refused.count(), 1);
    QCOMPARE(refused.at(0).at(0).toString(), ready.at(0).at(0).toString());
    QVERIFY(!errors.wait(2500));

    // The player opens the address by hand, and the sign-in still arrives.
    SimulatedBrowser byHand;
    QTest::ignoreMessage(QtInfoMsg, "Social Auth Finished!");
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    byHand.open(QUrl(refused.at(0).at(0).toString()));
    QVERIFY(finished.wait(15000));
    QCOMPARE(session.login(), QStringLiteral("frank-testbook@example.com"));
}

void TestSocialNetworkSession::everyAttemptAddsATimeout()
{
    SimulatedBrowser browser;
    browser.setIdle(true);
    browser.install();
    SocialNetworkSession session(nullptr);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);

    session.setNetworkLink(providerLink(QStringLiteral("testbook")));
    QTest::ignoreMessage(QtInfoMsg, startedLine());
    QTest::ignoreMessage(QtInfoMsg, startedLine());
    session.tryLogin();
    session.tryLogin();
    QCOMPARE(session.findChildren<IHttpServer *>().size(), 2);

    // One time-out, handled once per attempt: the second run finds the newest listener stopped.
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    QTest::ignoreMessage(QtInfoMsg, "Can't stop local server. Server does not started");
    QTRY_COMPARE_WITH_TIMEOUT(errors.count(), 2, 10000);
    QCOMPARE(errors.at(1).at(0).toString(), QStringLiteral("Authorization timeout"));
    QCOMPARE(errorReports().size(), 2);

    // The first listener was never stopped, and a sign-in finished there still counts.
    SimulatedBrowser late;
    QTest::ignoreMessage(QtInfoMsg, "Social Auth Finished!");
    QTest::ignoreMessage(QtInfoMsg, "Can't stop local server. Server does not started");
    late.open(browser.opened().at(0));
    QVERIFY(finished.wait(15000));
}

void TestSocialNetworkSession::listenerThatCannotOpenIsSwallowed()
{
    SimulatedBrowser browser;
    browser.install();
    SocialNetworkSession session(nullptr);
    QSignalSpy ready(&session, &SocialNetworkSession::loginUrlIsReady);
    QSignalSpy errors(&session, &AbstractSession::error);
    session.setNetworkLink(providerLink(QStringLiteral("testbook")));

    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^Exeption .*open files")));
    {
        FileLimit noMoreFiles;
        QVERIFY(noMoreFiles.exhaust());
        session.tryLogin();
    }
    QCOMPARE(ready.count(), 0);
    QCOMPARE(errors.count(), 0);
    QVERIFY(browser.opened().isEmpty());
    QVERIFY(errorReports().isEmpty());
}

void TestSocialNetworkSession::signsInThroughHeadlessChromium()
{
    QVERIFY(m_emulator.loadConfig());
    QVERIFY2(!HeadlessChromium::executable().isEmpty(), "chromium is part of the test set-up (scripts/lib.sh)");
    HeadlessChromium chromium;
    chromium.install();
    SocialNetworkSession session(nullptr);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);

    session.setNetworkLink(providerLink(QStringLiteral("testbook")));
    QTest::ignoreMessage(QtInfoMsg, startedLine());
    QTest::ignoreMessage(QtInfoMsg, "Social Auth Finished!");
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    session.tryLogin();

    QVERIFY(finished.wait(50000));
    QCOMPARE(errors.count(), 0);
    QCOMPARE(chromium.opened().size(), 1);
    QCOMPARE(session.login(), QStringLiteral("frank-testbook@example.com"));
    const QString callbackPage = QUrl(NApplication::instance().configManager()->callbackUrl()).path();
    QTRY_VERIFY_WITH_TIMEOUT(!m_emulator.requests(callbackPage).isEmpty(), 15000);
}

QTEST_MAIN(TestSocialNetworkSession)
#include "tst_socialnetworksession.moc"
