#include "jwt/jwtchecker.h"
#include "jwt/nimblaloginjwtvalidator.h"

#include "emulatorsuite.h"
#include "napplication.h"

#include <QThread>
#include <QtTest>

using namespace NimblaSDK;

class TestJwtValidators : public EmulatorSuite
{
    Q_OBJECT

private Q_SLOTS:
    void validators_data();
    void validators();
    void blockingCheckOnWorkerThread();

private:
    QString tokenFor(const QString &kind);
};

QString TestJwtValidators::tokenFor(const QString &kind)
{
    if (kind.isEmpty())
        return QString();
    QString token = m_emulator.token(QStringLiteral("alice@example.com"), {}, kind == QLatin1String("expired") ? -60 : 0);
    if (kind == QLatin1String("tampered"))
        token[token.size() - 2] = token.at(token.size() - 2) == 'A' ? 'B' : 'A';
    return token;
}

void TestJwtValidators::validators_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<bool>("valid");

    // What the service says of the token; its faulty answers are the fault matrix's.
    QTest::newRow("genuine") << "genuine" << true;
    QTest::newRow("expired") << "expired" << false;
    QTest::newRow("tampered") << "tampered" << false;
    QTest::newRow("empty") << "" << false;
}

void TestJwtValidators::validators()
{
    QFETCH(QString, token);
    QFETCH(bool, valid);
    const QString jwt = tokenFor(token);

    JWTchecker checker(nullptr);
    QCOMPARE(checker.validateJWT(jwt), valid);
    QSignalSpy validated(&checker, &JWTchecker::jwtValidated);
    checker.validateJWTAsync(jwt);
    QVERIFY(validated.wait());
    QCOMPARE(validated.count(), 1);
    QCOMPARE(validated.at(0).at(0).toBool(), valid);

    // The bearer validator asks the attributes endpoint instead.
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
    QCOMPARE(seen.at(0)["method"].toString(), QStringLiteral("POST"));
    if (!jwt.isEmpty())
        QCOMPARE(seen.at(0)["headers"]["authorization"].toString(), QStringLiteral("Bearer ") + jwt);
}

void TestJwtValidators::blockingCheckOnWorkerThread()
{
    const QString jwt = tokenFor(QStringLiteral("genuine"));
    bool valid = false;
    QThread *worker = QThread::create([&valid, jwt] { valid = JWTchecker(nullptr).validateJWT(jwt); });
    worker->start();
    QVERIFY(worker->wait(10000));
    delete worker;
    QVERIFY(valid);
}

QTEST_GUILESS_MAIN(TestJwtValidators)
#include "tst_jwtvalidators.moc"
