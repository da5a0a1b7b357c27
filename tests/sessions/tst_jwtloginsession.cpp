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

    QString jwt = user.isEmpty() ? QString() : m_emulator.token(user, project, expiresIn);
    QVERIFY(user.isEmpty() || !jwt.isEmpty());
    JwtLoginSession session(nullptr);
    QSignalSpy finished(&session, &AbstractSession::loginFinished);
    QSignalSpy errors(&session, &AbstractSession::error);
    if (!project.isEmpty())
        QTest::ignoreMessage(QtCriticalMsg, "JWT token belongs to another login project");
    session.setJwtToken(jwt);
    session.tryLogin();

    QTRY_COMPARE(finished.count() + errors.count(), 1);
    if (!signedIn) {
        QCOMPARE(errors.at(0).at(0).toString(), QStringLiteral("Token is invalid"));
        // The session reports to the user only; the error logger hears nothing of it.
        QVERIFY(ErrorLogger::instance(ErrorLoggerSettings()).recentEntries().isEmpty());
        // A failed attempt leaves the session ready for the next.
        jwt = m_emulator.token(QStringLiteral("alice@example.com"));
        session.setJwtToken(jwt);
        session.tryLogin();
        QVERIFY(finished.wait());
    }
    QCOMPARE(finished.count(), 1);
    QCOMPARE(errors.count(), signedIn ? 0 : 1);
    QCOMPARE(QStringList({session.login(), session.userName(), session.merchantId(), session.accessKey()}),
             QStringList({"alice@example.com", "alice", "12345", "alice-access-key"}));
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

QTEST_GUILESS_MAIN(TestJwtLoginSession)
#include "tst_jwtloginsession.moc"
