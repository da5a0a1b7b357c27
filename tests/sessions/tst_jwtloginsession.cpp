#include "jwt/jwtchecker.h"
#include "sessions/jwtloginsession.h"

#include "emulatorsuite.h"
#include "errorlogger.h"
#include "napplication.h"

#include <QtTest>

using namespace NimblaSDK;

class TestJwtLoginSession : public EmulatorSuite
{
    Q_OBJECT

private Q_SLOTS:
    void tryLogin_data();
    void tryLogin();
    void overlappingAttemptsActOnce();
    void retryAfterFailure();
};

void TestJwtLoginSession::tryLogin_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("project");
    QTest::addColumn<int>("expiresIn");
    QTest::addColumn<bool>("signedIn");

    QTest::newRow("valid") << "alice@example.com" << "" << 0 << true;
    QTest::newRow("expired") << "alice@example.com" << "" << -60 << false;
    QTest::newRow("another login project") << "alice@example.com" << "nimbla-other-project" << 0 << false;
    QTest::newRow("empty") << "" << "" << 0 << false;
}

void TestJwtLoginSession::tryLogin()
{
    QFETCH(QString, user);
    QFETCH(QString, project);
    QFETCH(int, expiresIn);
    QFETCH(bool, signedIn);

    const QString jwt = user.isEmpty() ? QString() : m_emulator.token(user, project, expiresIn);
    QVERIFY(user.isEmpty() || !jwt.isEmpty());

    JwtLoginSession session(nullptr);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);
    if (!project.isEmpty())
        QTest::ignoreMessage(QtCriticalMsg, "JWT token belongs to another login project");
    session.setJwtToken(jwt);
    session.tryLogin();

    QTRY_COMPARE(finished.count() + errors.count(), 1);
    QCOMPARE(finished.count(), signedIn ? 1 : 0);
    if (!signedIn) {
        QCOMPARE(errors.at(0).at(0).toString(), QStringLiteral("Token is invalid"));
        // The session reports to the user only; the error logger hears nothing of it.
        QVERIFY(ErrorLogger::instance(ErrorLoggerSettings()).recentEntries().isEmpty());
        return;
    }
    QCOMPARE(session.login(), QStringLiteral("alice@example.com"));
    QCOMPARE(session.userName(), QStringLiteral("alice"));
    QCOMPARE(session.merchantId(), QStringLiteral("12345"));
    QCOMPARE(session.accessKey(), QStringLiteral("alice-access-key"));
    QCOMPARE(NApplication::instance().settingsManager()->getJWT(), jwt);
    const QList<QJsonObject> reports = ErrorLogger::instance(ErrorLoggerSettings()).recentEntries();
    QCOMPARE(reports.size(), 1);
    QCOMPARE(reports.at(0).value("message").toString(), QStringLiteral("Auth success"));
}

void TestJwtLoginSession::overlappingAttemptsActOnce()
{
    // One of the two validations is held back, so its answer comes last.
    m_emulator.injectFault(QUrl(NApplication::instance().urlsManager()->validateJWTUrl()),
                           {{"delayMs", 300}, {"times", 1}});
    JwtLoginSession session(nullptr);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);
    session.setJwtToken(m_emulator.token(QStringLiteral("alice@example.com")));
    session.tryLogin();
    session.tryLogin();

    QVERIFY(finished.wait());

    // The second answer still reaches the checker, but nobody may act on it any more.
    auto *checker = session.findChild<JWTchecker *>();
    QVERIFY(checker);
    QSignalSpy secondAnswer(checker, &JWTchecker::jwtValidated);
    QVERIFY(secondAnswer.wait());
    QCOMPARE(secondAnswer.at(0).at(0).toBool(), true);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(errors.count(), 0);
}

void TestJwtLoginSession::retryAfterFailure()
{
    JwtLoginSession session(nullptr);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);

    session.setJwtToken(QStringLiteral("broken"));
    session.tryLogin();
    QVERIFY(errors.wait());

    session.setJwtToken(m_emulator.token(QStringLiteral("alice@example.com")));
    session.tryLogin();
    QVERIFY(finished.wait());
    QCOMPARE(errors.count(), 1);
}

QTEST_GUILESS_MAIN(TestJwtLoginSession)
#include "tst_jwtloginsession.moc"
