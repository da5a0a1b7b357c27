#include "abstractsession.h"

#include "emulatorfixture.h"
#include "errorlogger.h"
#include "napplication.h"

#include <QJsonDocument>
#include <QtTest>

using namespace NimblaSDK;

namespace {

class ProbeSession : public AbstractSession
{
public:
    using AbstractSession::AbstractSession;
    using AbstractSession::_processJWT;

    void tryLogin() override { ++tryLoginCalls; }

    int tryLoginCalls = 0;
};

// _processJWT reads claims without checking the signature, so tests can shape any payload.
QString unsignedToken(const QJsonObject &claims)
{
    const auto part = [](const QJsonObject &object) {
        return QString::fromLatin1(QJsonDocument(object).toJson(QJsonDocument::Compact)
                                           .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
    };
    return part({{"alg", "HS256"}, {"typ", "JWT"}}) + '.' + part(claims) + ".c2ln";
}

QJsonObject claims(const QString &project, const QJsonObject &extra = {})
{
    QJsonObject all{{"nimbla_login_project_id", project}, {"email", "zoe@example.com"}, {"sub", "user-1"},
                    {"username", "zoe"}, {"nimbla_login_access_key", "key-1"}, {"publisher_id", 12345},
                    {"external_account_id", "ext-1"}};
    for (auto it = extra.begin(); it != extra.end(); ++it)
        all.insert(it.key(), it.value());
    return all;
}

} // namespace

class TestAbstractSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void processJwtOrderAndSettings();
    void processJwtTwice();
    void merchantId_data();
    void merchantId();
    void projectCheck_data();
    void projectCheck();
    void malformedJwtOnlyReplacesToken();
    void emptyClaimsKeepEarlierTags();

    void checkLoginType_data();
    void checkLoginType();
    void defaultRefreshAsksToLoginAgain();

private:
    QString projectId() const;

    EmulatorFixture m_emulator;
};

void TestAbstractSession::initTestCase()
{
    QVERIFY(m_emulator.start());
}

void TestAbstractSession::init()
{
    m_emulator.clearFaults();
    QVERIFY(m_emulator.loadConfig());
    ErrorLogger::instance(ErrorLoggerSettings()).clearRecentEntries();
    ErrorLogger::instance(ErrorLoggerSettings()).setAdditionalTags({});
}

QString TestAbstractSession::projectId() const
{
    return NApplication::instance().configManager()->loginProjectId();
}

void TestAbstractSession::processJwtOrderAndSettings()
{
    ProbeSession session(nullptr);
    SDKSettings *settings = NApplication::instance().settingsManager();
    QStringList order;
    // Each signal must find the settings already written and the getter updated.
    const auto record = [&](const char *name, const QString &stored, const QString &field) {
        order << QString::fromLatin1(name);
        QCOMPARE(stored, field);
    };
    connect(&session, &AbstractSession::jwtChanged, this,
            [&](const QString &v) { record("jwt", settings->getJWT(), v); QCOMPARE(session.jwt(), v); });
    connect(&session, &AbstractSession::loginChanged, this,
            [&](const QString &v) { record("login", settings->login(), v); QCOMPARE(session.login(), v); });
    connect(&session, &AbstractSession::userIdChanged, this,
            [&](const QString &v) { record("userId", settings->userId(), v); });
    connect(&session, &AbstractSession::userNameChanged, this,
            [&](const QString &v) { record("userName", settings->userName(), v); });
    connect(&session, &AbstractSession::accessKeyChanged, this,
            [&](const QString &v) { record("accessKey", settings->accessKey(), v); });
    connect(&session, &AbstractSession::merchantIdChanged, this,
            [&](const QString &v) { record("merchantId", session.merchantId(), v); });
    connect(&session, &AbstractSession::externalUserIdChanged, this,
            [&](const QString &v) { record("externalUserId", settings->externalUserId(), v); });
    QSignalSpy refreshed(&session, &AbstractSession::refreshed);
    connect(&session, &AbstractSession::refreshed, this, [&] { order << QStringLiteral("refreshed"); });

    const QString jwt = unsignedToken(claims(projectId()));
    QVERIFY(session._processJWT(jwt));

    QCOMPARE(order, QStringList({"jwt", "login", "userId", "userName", "accessKey", "merchantId", "externalUserId",
                                 "refreshed"}));
    QCOMPARE(refreshed.at(0).at(0).toMap(), QVariantMap({{"access_token", jwt}}));
    QCOMPARE(session.login(), QStringLiteral("zoe@example.com"));
    QCOMPARE(session.userId(), QStringLiteral("user-1"));
    QCOMPARE(session.userName(), QStringLiteral("zoe"));
    QCOMPARE(session.accessKey(), QStringLiteral("key-1"));
    QCOMPARE(session.externalUserId(), QStringLiteral("ext-1"));
    QCOMPARE(session.merchantId(), QStringLiteral("12345"));

    const QMap<QString, QString> tags = ErrorLogger::instance(ErrorLoggerSettings()).additionalTags();
    QCOMPARE(tags.value("user_id"), QStringLiteral("user-1"));
    QCOMPARE(tags.value("username"), QStringLiteral("zoe"));
    QCOMPARE(tags.value("external_account_id"), QStringLiteral("ext-1"));
}

void TestAbstractSession::processJwtTwice()
{
    ProbeSession session(nullptr);
    const QString jwt = unsignedToken(claims(projectId()));
    QVERIFY(session._processJWT(jwt));

    // Login, user name and merchant id are re-announced on every token; the rest only on change.
    QSignalSpy jwtChanged(&session, &AbstractSession::jwtChanged);
    QSignalSpy userIdChanged(&session, &AbstractSession::userIdChanged);
    QSignalSpy accessKeyChanged(&session, &AbstractSession::accessKeyChanged);
    QSignalSpy externalChanged(&session, &AbstractSession::externalUserIdChanged);
    QSignalSpy loginChanged(&session, &AbstractSession::loginChanged);
    QSignalSpy userNameChanged(&session, &AbstractSession::userNameChanged);
    QSignalSpy merchantChanged(&session, &AbstractSession::merchantIdChanged);
    QSignalSpy refreshed(&session, &AbstractSession::refreshed);
    QVERIFY(session._processJWT(jwt));

    QCOMPARE(jwtChanged.count(), 0);
    QCOMPARE(userIdChanged.count(), 0);
    QCOMPARE(accessKeyChanged.count(), 0);
    QCOMPARE(externalChanged.count(), 0);
    QCOMPARE(loginChanged.count(), 1);
    QCOMPARE(userNameChanged.count(), 1);
    QCOMPARE(merchantChanged.count(), 1);
    QCOMPARE(refreshed.count(), 1);
}

void TestAbstractSession::merchantId_data()
{
    QTest::addColumn<QJsonValue>("publisherId");
    QTest::addColumn<QString>("merchantId");

    QTest::newRow("five digits") << QJsonValue(12345) << "12345";
    QTest::newRow("seven digits, six significant") << QJsonValue(1234567) << "1.23457e+06";
    QTest::newRow("fraction") << QJsonValue(12.5) << "12.5";
    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << "0";
    QTest::newRow("text is not a number") << QJsonValue("777") << "0";
}

void TestAbstractSession::merchantId()
{
    QFETCH(QJsonValue, publisherId);
    QFETCH(QString, merchantId);

    QJsonObject payload = claims(projectId());
    if (publisherId.isUndefined())
        payload.remove("publisher_id");
    else
        payload.insert("publisher_id", publisherId);

    ProbeSession session(nullptr);
    QVERIFY(session._processJWT(unsignedToken(payload)));
    QCOMPARE(session.merchantId(), merchantId);
}

void TestAbstractSession::projectCheck_data()
{
    QTest::addColumn<QString>("configuredProject");
    QTest::addColumn<QJsonValue>("claimedProject");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("same project") << "p-1" << QJsonValue("p-1") << true;
    QTest::newRow("another project") << "p-1" << QJsonValue("p-2") << false;
    QTest::newRow("case differs") << "p-1" << QJsonValue("P-1") << false;
    QTest::newRow("claim missing") << "p-1" << QJsonValue(QJsonValue::Undefined) << false;
    QTest::newRow("claim missing, no project configured") << "" << QJsonValue(QJsonValue::Undefined) << true;
}

void TestAbstractSession::projectCheck()
{
    QFETCH(QString, configuredProject);
    QFETCH(QJsonValue, claimedProject);
    QFETCH(bool, accepted);

    QVERIFY(m_emulator.loadConfig({{"loginProjectId", configuredProject}}));
    QJsonObject payload = claims(claimedProject.toString());
    if (claimedProject.isUndefined())
        payload.remove("nimbla_login_project_id");
    const QString jwt = unsignedToken(payload);

    ProbeSession session(nullptr);
    QSignalSpy loginChanged(&session, &AbstractSession::loginChanged);
    QSignalSpy refreshed(&session, &AbstractSession::refreshed);
    if (!accepted)
        QTest::ignoreMessage(QtCriticalMsg, "JWT token belongs to another login project");
    QCOMPARE(session._processJWT(jwt), accepted);

    // A refused token still replaces the stored one.
    QCOMPARE(session.jwt(), jwt);
    QCOMPARE(NApplication::instance().settingsManager()->getJWT(), jwt);
    QCOMPARE(loginChanged.count(), accepted ? 1 : 0);
    QCOMPARE(refreshed.count(), accepted ? 1 : 0);
}

void TestAbstractSession::malformedJwtOnlyReplacesToken()
{
    ProbeSession session(nullptr);
    QSignalSpy jwtChanged(&session, &AbstractSession::jwtChanged);
    QSignalSpy loginChanged(&session, &AbstractSession::loginChanged);
    QSignalSpy refreshed(&session, &AbstractSession::refreshed);

    QVERIFY(!session._processJWT(QStringLiteral("not-a-token")));
    QCOMPARE(jwtChanged.count(), 1);
    QCOMPARE(loginChanged.count(), 0);
    QCOMPARE(refreshed.count(), 0);
    QCOMPARE(NApplication::instance().settingsManager()->getJWT(), QStringLiteral("not-a-token"));
}

void TestAbstractSession::emptyClaimsKeepEarlierTags()
{
    ErrorLogger &logger = ErrorLogger::instance(ErrorLoggerSettings());
    logger.setAdditionalTags({{"user_id", "earlier"}, {"username", "earlier-name"}, {"build", "42"}});

    ProbeSession session(nullptr);
    QVERIFY(session._processJWT(unsignedToken(claims(projectId(), {{"sub", ""}, {"external_account_id", ""}}))));

    const QMap<QString, QString> tags = logger.additionalTags();
    QCOMPARE(tags.value("user_id"), QStringLiteral("earlier"));
    QCOMPARE(tags.value("username"), QStringLiteral("zoe"));
    QCOMPARE(tags.value("build"), QStringLiteral("42"));
    QVERIFY(!tags.contains("external_account_id"));
}

void TestAbstractSession::checkLoginType_data()
{
    QTest::addColumn<QString>("project");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<int>("loginType");
    QTest::addColumn<QString>("errorTitle");

    QTest::newRow("proxy login") << "nimbla-demo-project" << QJsonObject() << 2 << "";
    QTest::newRow("direct login") << "nimbla-direct-project" << QJsonObject() << 1 << "";
    QTest::newRow("no proxyLogin key") << "nimbla-bare-project" << QJsonObject() << 1 << "";
    QTest::newRow("error answer") << "nimbla-broken-project" << QJsonObject() << 0
                                  << "Failed load Nimbla Login setting";
    QTest::newRow("both keys: proxyLogin wins")
            << "nimbla-demo-project"
            << QJsonObject{{"status", 200}, {"body", R"({"proxyLogin":true,"error":{"description":"x"}})"}} << 2 << "";
    QTest::newRow("not JSON") << "nimbla-demo-project" << QJsonObject{{"status", 200}, {"body", "<html>"}} << 1 << "";
    QTest::newRow("empty body") << "nimbla-demo-project" << QJsonObject{{"status", 200}, {"body", ""}} << 1 << "";
    QTest::newRow("server error") << "nimbla-demo-project" << QJsonObject{{"status", 503}, {"body", "busy"}} << 0
                                  << "Failed load Nimbla Login settings";
    QTest::newRow("dropped connection") << "nimbla-demo-project" << QJsonObject{{"drop", true}} << 0
                                        << "Failed load Nimbla Login settings";
    QTest::newRow("dead service") << "dead" << QJsonObject() << 0 << "Failed load Nimbla Login settings";
}

void TestAbstractSession::checkLoginType()
{
    QFETCH(QString, project);
    QFETCH(QJsonObject, fault);
    QFETCH(int, loginType);
    QFETCH(QString, errorTitle);

    const QString widgetUrl = project == QLatin1String("dead")
            ? QStringLiteral("http://127.0.0.1:1/widget")
            : m_emulator.adminConfig(project).value("urls").toObject().value("widgetSettingsUrl").toString();
    QVERIFY(!widgetUrl.isEmpty());
    QVERIFY(m_emulator.loadConfig({{"urls", QJsonObject{{"widgetSettingsUrl", widgetUrl}}}}));
    if (!fault.isEmpty())
        m_emulator.injectFault(QUrl(widgetUrl), fault);

    ProbeSession session(nullptr);
    QSignalSpy errors(&session, &AbstractSession::error);
    const bool fails = !errorTitle.isEmpty();
    if (fails)
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("^loading widget settings failed "));
    if (project == QLatin1String("nimbla-broken-project"))
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("^Reply: "));
    session.checkLoginType();

    QTRY_COMPARE(session.tryLoginCalls + errors.count(), 1);
    QCOMPARE(session.loginType(), loginType);
    QCOMPARE(session.tryLoginCalls, fails ? 0 : 1);
    if (!fails)
        return;
    QCOMPARE(errors.at(0).at(0).toString(), QStringLiteral("Failed load Nimbla Login settings"));
    const QList<QJsonObject> reports = ErrorLogger::instance(ErrorLoggerSettings()).recentEntries();
    QCOMPARE(reports.size(), 1);
    QCOMPARE(reports.at(0).value("message").toString(), errorTitle);
    QCOMPARE(reports.at(0).value("area").toString(), QStringLiteral("authorization"));
    if (project == QLatin1String("nimbla-broken-project")) {
        QCOMPARE(reports.at(0).value("details").toString(),
                 QStringLiteral("loading widget settings failed Login widget is disabled for this project"));
    }
}

void TestAbstractSession::defaultRefreshAsksToLoginAgain()
{
    ProbeSession session(nullptr);
    QSignalSpy errors(&session, &AbstractSession::error);
    session.refresh();
    QCOMPARE(errors.count(), 1);
    QCOMPARE(errors.at(0).at(0).toString(), QStringLiteral("Session timeout. Please, login again."));
}

QTEST_GUILESS_MAIN(TestAbstractSession)
#include "tst_abstractsession.moc"
