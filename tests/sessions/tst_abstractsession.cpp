#include "abstractsession.h"

#include "emulatorsuite.h"
#include "errorlogger.h"
#include "napplication.h"

#include <QJsonDocument>
#include <QtTest>

#include <functional>

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
    // A null value removes the claim.
    for (auto it = extra.begin(); it != extra.end(); ++it) {
        if (it.value().isNull())
            all.remove(it.key());
        else
            all.insert(it.key(), it.value());
    }
    return all;
}

// The session's signals in order, as "name=value"; a change signal that finds the setting it
// mirrors, or the getter, not yet holding the new value shows "(not yet stored)" instead.
class ChangeLog : public QObject
{
public:
    explicit ChangeLog(AbstractSession &session)
    {
        SDKSettings *settings = NApplication::instance().settingsManager();
        const AbstractSession *s = &session;
        const auto both = [](const QString &stored, const QString &getter) { return stored == getter ? stored : "?"; };
        const auto watch = [&](void (AbstractSession::*signal)(const QString &), const char *name,
                               std::function<QString()> stored) {
            connect(&session, signal, this, [this, name, stored](const QString &value) {
                names << QString::fromLatin1(name) + '=' + (stored() == value ? value : "(not yet stored)");
            });
        };
        watch(&AbstractSession::jwtChanged, "jwt", [=] { return both(settings->getJWT(), s->jwt()); });
        watch(&AbstractSession::loginChanged, "login", [=] { return both(settings->login(), s->login()); });
        watch(&AbstractSession::userIdChanged, "userId", [=] { return both(settings->userId(), s->userId()); });
        watch(&AbstractSession::userNameChanged, "userName", [=] { return both(settings->userName(), s->userName()); });
        watch(&AbstractSession::accessKeyChanged, "accessKey", [=] { return both(settings->accessKey(), s->accessKey()); });
        watch(&AbstractSession::merchantIdChanged, "merchantId", [=] { return s->merchantId(); });
        watch(&AbstractSession::externalUserIdChanged, "externalUserId",
              [=] { return both(settings->externalUserId(), s->externalUserId()); });
        connect(&session, &AbstractSession::refreshed, this, [this] { names << QStringLiteral("refreshed"); });
    }

    QStringList names;
};

} // namespace

class TestAbstractSession : public EmulatorSuite
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void processJwt();
    void emptyClaimsKeepEarlierTags();

    void checkLoginType_data();
    void checkLoginType();

private:
    QString projectId() const;
};

void TestAbstractSession::init()
{
    EmulatorSuite::init();
    ErrorLogger::instance(ErrorLoggerSettings()).setAdditionalTags({});
}

QString TestAbstractSession::projectId() const
{
    return NApplication::instance().configManager()->loginProjectId();
}

void TestAbstractSession::processJwt()
{
    ProbeSession session(nullptr);
    ChangeLog log(session);
    QSignalSpy refreshed(&session, &AbstractSession::refreshed);
    const QString jwt = unsignedToken(claims(projectId()));
    QVERIFY(session._processJWT(jwt));

    QCOMPARE(log.names, QStringList({"jwt=" + jwt, "login=zoe@example.com", "userId=user-1", "userName=zoe",
                                     "accessKey=key-1", "merchantId=12345", "externalUserId=ext-1", "refreshed"}));
    QCOMPARE(refreshed.at(0).at(0).toMap(), QVariantMap({{"access_token", jwt}}));
    const QMap<QString, QString> tags = ErrorLogger::instance(ErrorLoggerSettings()).additionalTags();
    QCOMPARE(tags.value("user_id"), QStringLiteral("user-1"));
    QCOMPARE(tags.value("username"), QStringLiteral("zoe"));
    QCOMPARE(tags.value("external_account_id"), QStringLiteral("ext-1"));

    // Login, user name and merchant id are re-announced on every token; the rest only on change.
    log.names.clear();
    QVERIFY(session._processJWT(jwt));
    QCOMPARE(log.names, QStringList({"login=zoe@example.com", "userName=zoe", "merchantId=12345", "refreshed"}));
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
    // Network failures differ only in the matrix's outcome texts; one stands for them here.
    QTest::newRow("server error") << "nimbla-demo-project" << QJsonObject{{"status", 503}, {"body", "busy"}} << 0
                                  << "Failed load Nimbla Login settings";
}

void TestAbstractSession::checkLoginType()
{
    QFETCH(QString, project);
    QFETCH(QJsonObject, fault);
    QFETCH(int, loginType);
    QFETCH(QString, errorTitle);

    const QString widgetUrl = m_emulator.adminConfig(project).value("urls")["widgetSettingsUrl"].toString();
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
    if (project == QLatin1String("nimbla-broken-project"))
        QCOMPARE(reports.at(0).value("details").toString(),
                 QStringLiteral("loading widget settings failed Login widget is disabled for this project"));
}

QTEST_GUILESS_MAIN(TestAbstractSession)
#include "tst_abstractsession.moc"
