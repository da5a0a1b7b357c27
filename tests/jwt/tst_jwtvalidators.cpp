#include "jwt/jwtchecker.h"
#include "jwt/nimblaloginjwtvalidator.h"

#include "emulatorfixture.h"
#include "napplication.h"

#include <QThread>
#include <QtTest>

using namespace NimblaSDK;

class TestJwtValidators : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void checkerPaths_data();
    void checkerPaths();
    void blockingCheckOnWorkerThread();
    void unreachableService();

    void loginValidator_data();
    void loginValidator();
    void loginValidatorWithoutEndpoint();

private:
    QString tokenFor(const QString &kind);

    EmulatorFixture m_emulator;
};

void TestJwtValidators::initTestCase()
{
    QVERIFY(m_emulator.start());
}

void TestJwtValidators::cleanup()
{
    m_emulator.clearFaults();
    QVERIFY(m_emulator.loadConfig());
}

QString TestJwtValidators::tokenFor(const QString &kind)
{
    if (kind == QLatin1String("genuine"))
        return m_emulator.token(QStringLiteral("alice@example.com"));
    if (kind == QLatin1String("expired"))
        return m_emulator.token(QStringLiteral("alice@example.com"), {}, -60);
    if (kind == QLatin1String("tampered")) {
        QString token = m_emulator.token(QStringLiteral("alice@example.com"));
        token[token.size() - 2] = token.at(token.size() - 2) == 'A' ? 'B' : 'A';
        return token;
    }
    return QString();
}

void TestJwtValidators::checkerPaths_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<bool>("blockingValid");
    QTest::addColumn<bool>("asyncValid");

    // The blocking path takes any answer without a network error; the asynchronous one only 204.
    QTest::newRow("genuine token, 204") << "genuine" << QJsonObject() << true << true;
    QTest::newRow("expired token") << "expired" << QJsonObject() << false << false;
    QTest::newRow("tampered signature") << "tampered" << QJsonObject() << false << false;
    QTest::newRow("empty token") << "" << QJsonObject() << false << false;
    QTest::newRow("200 with a body") << "genuine" << QJsonObject{{"status", 200}, {"body", "{\"ok\":true}"}} << true
                                     << false;
    QTest::newRow("server error") << "genuine" << QJsonObject{{"status", 500}, {"body", "oops"}} << false << false;
    QTest::newRow("dropped connection") << "genuine" << QJsonObject{{"drop", true}} << false << false;
}

void TestJwtValidators::checkerPaths()
{
    QFETCH(QString, token);
    QFETCH(QJsonObject, fault);
    QFETCH(bool, blockingValid);
    QFETCH(bool, asyncValid);

    const QString jwt = tokenFor(token);
    if (!fault.isEmpty())
        m_emulator.injectFault(QUrl(NApplication::instance().urlsManager()->validateJWTUrl()), fault);

    JWTchecker checker(nullptr);
    QCOMPARE(checker.validateJWT(jwt), blockingValid);

    QSignalSpy validated(&checker, &JWTchecker::jwtValidated);
    checker.validateJWTAsync(jwt);
    QVERIFY(validated.wait());
    QCOMPARE(validated.count(), 1);
    QCOMPARE(validated.at(0).at(0).toBool(), asyncValid);
}

void TestJwtValidators::blockingCheckOnWorkerThread()
{
    const QString jwt = tokenFor(QStringLiteral("genuine"));
    bool valid = false;
    QThread *worker = QThread::create([&valid, jwt] {
        JWTchecker checker(nullptr);
        valid = checker.validateJWT(jwt);
    });
    worker->start();
    QVERIFY(worker->wait(10000));
    delete worker;
    QVERIFY(valid);
}

void TestJwtValidators::unreachableService()
{
    QVERIFY(m_emulator.loadConfig({{"urls", QJsonObject{{"validateJWTUrl", "http://127.0.0.1:1/validate"}}}}));

    JWTchecker checker(nullptr);
    QTest::ignoreMessage(QtInfoMsg, "Start checking JWT");
    QTest::ignoreMessage(QtInfoMsg, "Can't validate JWT");
    QTest::ignoreMessage(QtInfoMsg, "Connection refused");
    QVERIFY(!checker.validateJWT(tokenFor(QStringLiteral("genuine"))));
}

void TestJwtValidators::loginValidator_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<bool>("valid");

    QTest::newRow("genuine") << "genuine" << true;
    QTest::newRow("expired") << "expired" << false;
    QTest::newRow("tampered") << "tampered" << false;
    QTest::newRow("empty") << "" << false;
}

void TestJwtValidators::loginValidator()
{
    QFETCH(QString, token);
    QFETCH(bool, valid);

    const QString jwt = tokenFor(token);
    const QUrl endpoint(NApplication::instance().urlsManager()->getUserAttributesUrl());
    m_emulator.clearRequests();

    NimblaLoginJwtValidator validator(nullptr);
    validator.setTestEndpoint(endpoint);
    QSignalSpy validSpy(&validator, &IJwtValidator::valid);
    QSignalSpy invalidSpy(&validator, &IJwtValidator::invalid);
    validator.validate(jwt);
    QTRY_COMPARE(validSpy.count() + invalidSpy.count(), 1);
    QCOMPARE(validSpy.count(), valid ? 1 : 0);

    const QJsonArray seen = m_emulator.requests(endpoint.path());
    QCOMPARE(seen.size(), 1);
    const QJsonObject request = seen.at(0).toObject();
    QCOMPARE(request.value("method").toString(), QStringLiteral("POST"));
    if (!jwt.isEmpty()) {
        QCOMPARE(request.value("headers").toObject().value("authorization").toString(),
                 QStringLiteral("Bearer ") + jwt);
    }
}

void TestJwtValidators::loginValidatorWithoutEndpoint()
{
    NimblaLoginJwtValidator validator(nullptr);
    QSignalSpy invalidSpy(&validator, &IJwtValidator::invalid);
    validator.validate(tokenFor(QStringLiteral("genuine")));
    QCOMPARE(invalidSpy.count(), 1);
}

QTEST_GUILESS_MAIN(TestJwtValidators)
#include "tst_jwtvalidators.moc"
