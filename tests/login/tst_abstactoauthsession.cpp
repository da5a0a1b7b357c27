#include "abstactoauthsession.h"

#include "emulatorfixture.h"
#include "napplication.h"
#include "signinattempt.h"

#include <QSet>
#include <QtTest>

using namespace NimblaSDK;
using namespace SignIn;

namespace {

class ProbeOAuthSession : public AbstactOAuthSession
{
public:
    using AbstactOAuthSession::AbstactOAuthSession;
    using AbstactOAuthSession::_generateState;
    using AbstactOAuthSession::_oauthGetJwt;
    using AbstactOAuthSession::refreshToken;
    using AbstactOAuthSession::updateRefreshToken;

    void tryLogin() override {}
};

QString tokenUrl()
{
    return NApplication::instance().urlsManager()->oauthExchangeCodeUrl();
}

QString callbackUrl()
{
    return NApplication::instance().configManager()->callbackUrl();
}

} // namespace

class TestAbstactOAuthSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_emulator.start()); }
    void init();

    void generatedStates();
    void tokenAnswers_data();
    void tokenAnswers();

private:
    EmulatorFixture m_emulator;
};

void TestAbstactOAuthSession::init()
{
    m_emulator.clearFaults();
    QVERIFY(m_emulator.loadConfig());
    clearJournals();
}

void TestAbstactOAuthSession::generatedStates()
{
    const QString alphabet = QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789");
    ProbeOAuthSession session(nullptr);
    QSet<QString> states;
    QSet<QChar> used;
    for (int i = 0; i < 2000; ++i) {
        const QString state = session._generateState();
        QCOMPARE(state.size(), 12);
        for (const QChar c : state) {
            QVERIFY2(alphabet.contains(c), qPrintable(state));
            used.insert(c);
        }
        states.insert(state);
    }
    QCOMPARE(states.size(), 2000);
    // 24000 uniform draws leave no character out; a narrowed range would.
    QCOMPARE(used.size(), 62);
}

void TestAbstactOAuthSession::tokenAnswers_data()
{
    QTest::addColumn<QJsonObject>("fault");   // in "body", %1 stands for a token of this project, %2 of another
    QTest::addColumn<bool>("finishes");
    QTest::addColumn<QString>("refreshAfter");
    QTest::addColumn<QString>("errorText");
    QTest::addColumn<QString>("report");      // @net: the network text with its code character
    QTest::addColumn<int>("networkError");

    const auto answer = [](const char *body) { return QJsonObject{{"status", 200}, {"body", body}}; };
    QTest::newRow("tokens") << answer(R"({"access_token": "%1", "refresh_token": "r-new"})") << true << "r-new" << ""
                            << "" << 0;
    QTest::newRow("without-refresh-token-clears-it") << answer(R"({"access_token": "%1"})") << true << "" << "" << ""
                                                     << 0;
    QTest::newRow("another-project-still-finishes") << answer(R"({"access_token": "%2", "refresh_token": "r-new"})")
                                                    << true << "r-new" << "" << "" << 0;
    QTest::newRow("no-access-token") << answer(R"({"refresh_token": "r-new"})") << false << "r-old" << "" << "" << 0;
    QTest::newRow("refused") << refusal(400, "invalid_grant: code expired") << false << "r-old"
                             << "invalid_grant: code expired"
                             << "NimblaOAuthLogin: Failed auth | invalid_grant: code expired | authorization" << 0;
    // A standard OAuth2 server's body: the description, or the error code when there is none.
    const auto standardError = [](const char *body) { return QJsonObject{{"status", 400}, {"body", body}}; };
    QTest::newRow("standard-error-body")
            << standardError(R"({"error": "invalid_grant", "error_description": "The code has expired"})") << false
            << "r-old" << "The code has expired"
            << "NimblaOAuthLogin: Failed auth | The code has expired | authorization" << 0;
    QTest::newRow("standard-error-code-alone") << standardError(R"({"error": "invalid_grant"})") << false << "r-old"
                                               << "invalid_grant"
                                               << "NimblaOAuthLogin: Failed auth | invalid_grant | authorization" << 0;
    QTest::newRow("dropped") << QJsonObject{{"drop", true}} << false << "r-old" << "Connection closed"
                             << "NimblaOAuthLogin: Authorization failed | @net | authorization"
                             << int(QNetworkReply::RemoteHostClosedError);
}

void TestAbstactOAuthSession::tokenAnswers()
{
    QFETCH(QJsonObject, fault);
    QFETCH(bool, finishes);
    QFETCH(QString, refreshAfter);
    QFETCH(QString, errorText);
    QFETCH(QString, report);
    QFETCH(int, networkError);

    const QString jwt = m_emulator.token("alice@example.com");
    const QString otherJwt = m_emulator.token("alice@example.com", "nimbla-other-project");
    const QString body = fault.value("body").toString();
    fault.insert("body", QString(body).replace("%1", jwt).replace("%2", otherJwt));
    m_emulator.injectFault(QUrl(tokenUrl()), fault);
    report.replace("@net", "exchange code failed " + errorText + QChar(networkError));

    ProbeOAuthSession session(nullptr);
    session.updateRefreshToken("r-old");
    QSignalSpy refreshed(&session, &AbstractSession::refreshed);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);
    ReplyWatch watch;
    session._oauthGetJwt("code-1", callbackUrl(), false);
    QTRY_COMPARE(watch.finished(path(tokenUrl())), 1);

    QCOMPARE(finished.count(), finishes ? 1 : 0);
    QCOMPARE(session.refreshToken(), refreshAfter);
    if (finishes) {
        // The parameters go out with the new refresh token before the JWT is looked at.
        const QVariantMap parameters{{"access_token", body.contains("%2") ? otherJwt : jwt},
                                     {"refresh_token", refreshAfter}};
        QCOMPARE(refreshed.at(0).at(0).toMap(), parameters);
        QCOMPARE(session.AbstractSession::login(), body.contains("%2") ? QString() : "alice@example.com");
    }
    QCOMPARE(errors.count(), report.isEmpty() ? 0 : 1);
    if (!errors.isEmpty())
        QCOMPARE(errors.at(0).at(0).toString(), errorText);
    QCOMPARE(errorReports(), report.isEmpty() ? QStringList() : QStringList{report});
    QCOMPARE(trackedEvents(), report.isEmpty() ? QStringList() : QStringList{"ExchangeOAuthCodeFailed"});
}

QTEST_GUILESS_MAIN(TestAbstactOAuthSession)
#include "tst_abstactoauthsession.moc"
