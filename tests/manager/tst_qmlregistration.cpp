#include "attributes/userattributes.h"
#include "authmanager.h"
#include "qmlregistration.h"

#include "emulatorfixture.h"
#include "httpapirequester.h"

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
    void userAttributesAreHandedOver();

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
    component.setData("import QtQml 2.15\nimport NimblaSDK.Auth 1.0\n" + qml, QUrl());
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
                             "JwtLoginSession", "SocialNetworkSession", "SocialNetworkOAuthSession", "SteamSession",
                             "SteamOAuthSession", "PlayfabLoginSession",
                             "MailRuSession", "StoneSession", "SteamPlayfabSession"})
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

void TestQmlRegistration::userAttributesAreHandedOver()
{
    QStringList errors;
    QVERIFY(!create("UserAttributes {}", &errors));
    QCOMPARE(errors, QStringList{"UserAttributes is created in C++ with its requester and handed to QML"});

    auto requester = QSharedPointer<NimblaSDK::HttpApiRequester>::create(nullptr);
    requester->authorized({{QStringLiteral("access_token"), m_emulator.token(QStringLiteral("alice@example.com"))}});
    NimblaSDK::UserAttributes attributes(requester, QSharedPointer<NimblaSDK::AuthManager>(), nullptr);
    const auto object = create(R"(QtObject {
        property UserAttributes attributes
        property bool busy: attributes !== null && attributes.state === UserAttributes.UA_STATE_IN_PROGRESS
        property var outcome: []
        property Connections watcher: Connections {
            target: attributes
            function onGetFinished(error) { outcome = [error.code, error.message] }
        }
    })");
    QVERIFY(object);
    object->setProperty("attributes", QVariant::fromValue(&attributes));

    attributes.get();
    QCOMPARE(object->property("outcome").toList(), (QVariantList{1, QStringLiteral("Publisher id is incorrect")}));

    attributes.setPublisherID(0);
    attributes.setUserID(QStringLiteral("7d1f6a52-0001-4c1e-9a11-a11ce0000001"));
    attributes.get();
    QVERIFY(object->property("busy").toBool());
    QTRY_VERIFY(!object->property("busy").toBool());
    QCOMPARE(object->property("outcome").toList(), (QVariantList{0, QString()}));
}

QTEST_MAIN(TestQmlRegistration)
#include "tst_qmlregistration.moc"
