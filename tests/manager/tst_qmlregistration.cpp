#include "authmanager.h"
#include "qmlregistration.h"

#include "emulatorfixture.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QtTest>

#include <memory>

class TestQmlRegistration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void managerIsCreatable();
    void sessionsAreUncreatable_data();
    void sessionsAreUncreatable();
    void currentSessionIsBound();

private:
    std::unique_ptr<QObject> create(const QByteArray &qml, QStringList *errors = nullptr);

    EmulatorFixture m_emulator;
    QQmlEngine m_engine;
};

void TestQmlRegistration::initTestCase()
{
    QVERIFY(m_emulator.start());
    NimblaSDK::registerQmlTypes();
}

std::unique_ptr<QObject> TestQmlRegistration::create(const QByteArray &qml, QStringList *errors)
{
    QQmlComponent component(&m_engine);
    component.setData("import QtQml 2.15\nimport NimblaSDK 1.0\n" + qml, QUrl());
    if (errors) {
        for (const QQmlError &error : component.errors())
            *errors << error.description();
    }
    if (component.isError())
        return nullptr;
    return std::unique_ptr<QObject>(component.create());
}

void TestQmlRegistration::managerIsCreatable()
{
    const auto object = create("AuthManager { property bool remembered: rememberMe }");
    QVERIFY(object);
    QVERIFY(qobject_cast<NimblaSDK::AuthManager *>(object.get()));
    QCOMPARE(object->property("remembered").toBool(), false);
}

void TestQmlRegistration::sessionsAreUncreatable_data()
{
    QTest::addColumn<QString>("type");
    for (const char *type : {"AbstractSession", "AbstactOAuthSession", "NimblaLoginSession", "NimblaLoginOAuthSession",
                             "JwtLoginSession", "SocialNetworkSession", "SocialNetworkOAuthSession", "MailRuSession",
                             "StoneSession"})
        QTest::newRow(type) << QString::fromLatin1(type);
}

void TestQmlRegistration::sessionsAreUncreatable()
{
    QFETCH(QString, type);

    QStringList errors;
    QVERIFY(!create(type.toLatin1() + " {}", &errors));
    QCOMPARE(errors, QStringList{type + " is created by AuthManager"});
}

void TestQmlRegistration::currentSessionIsBound()
{
    // The session's own properties are reached through the type it has, here the typed login.
    const auto object = create("AuthManager { property string typed: CurrentSession ? CurrentSession.login : \"none\" }");
    QVERIFY(object);
    auto *manager = qobject_cast<NimblaSDK::AuthManager *>(object.get());
    QCOMPARE(object->property("typed").toString(), QStringLiteral("none"));

    manager->loginViaNimblaLoginOAuth(QStringLiteral("alice@example.com"), QStringLiteral("alice-password"), false);
    QCOMPARE(object->property("typed").toString(), QStringLiteral("alice@example.com"));
    manager->loginViaJwt();
    QCOMPARE(object->property("typed").toString(), QString());
}

QTEST_MAIN(TestQmlRegistration)
#include "tst_qmlregistration.moc"
