#include "emulatorfixture.h"
#include "errorlogger.h"
#include "eventstracker.h"
#include "httpapirequest.h"
#include "httpapirequester.h"
#include "napplication.h"

#include <QFile>
#include <QSettings>
#include <QtTest>

#include <memory>

using namespace NimblaSDK;

class TestCore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void brokenConfiguration_data();
    void brokenConfiguration();
    void configurationValues();

    void requesterSendsBearerToken();

    void settingsReachTheFile_data();
    void settingsReachTheFile();
    void settingsIgnoreTheOrganisation();
    void reportsReachJournal();

private:
    QString settingsFile(const QString &account) const;
    QVariant onDisk(const QString &account, const QString &key) const;

    EmulatorFixture m_emulator;
};

QString TestCore::settingsFile(const QString &account) const
{
    // Named by hand: a QSettings object on the file would share the library's pending changes.
    return m_emulator.tempPath() + QStringLiteral("/config/NIMBLA/%1.conf").arg(account);
}

// What the file holds now, read from a copy that no other QSettings object in this process knows.
QVariant TestCore::onDisk(const QString &account, const QString &key) const
{
    static int copies = 0;
    const QString copy = m_emulator.tempPath() + QStringLiteral("/settings-copy-%1.conf").arg(++copies);
    if (!QFile::copy(settingsFile(account), copy))
        return QVariant();
    return QSettings(copy, QSettings::IniFormat).value(key);
}

void TestCore::initTestCase()
{
    QVERIFY(m_emulator.start());
}

void TestCore::init()
{
    m_emulator.clearFaults();
    QVERIFY(m_emulator.loadConfig());
}

void TestCore::brokenConfiguration_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("warning");

    QTest::newRow("missing file") << QByteArray() << "Cannot read configuration file .*missing\\.json";
    QTest::newRow("malformed JSON") << QByteArray("{\"loginProjectId\": ") << "Malformed configuration file .*broken\\.json";
    QTest::newRow("array at top level") << QByteArray("[1]") << "Malformed configuration file .*broken\\.json : the top level";
}

void TestCore::brokenConfiguration()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, warning);

    QString path = m_emulator.tempPath() + QStringLiteral("/missing.json");
    if (!content.isEmpty()) {
        path = m_emulator.tempPath() + QStringLiteral("/broken.json");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(warning));
    QVERIFY(!NApplication::instance().loadConfiguration(path));
    const ConfigManager *config = NApplication::instance().configManager();
    QVERIFY(config->loginProjectId().isEmpty());
    QVERIFY(NApplication::instance().urlsManager()->validateJWTUrl().isEmpty());
    QCOMPARE(config->requestTimeout(), ConfigManager::DefaultRequestTimeout);
    QCOMPARE(config->authorizationTimeout(), ConfigManager::DefaultAuthorizationTimeout);
    QVERIFY(config->strictTls());
    QVERIFY(!config->oauth2Enabled());

    // Without a configuration a session's request fails as a network error instead of hanging.
    HttpApiRequester requester(nullptr);
    HttpApiRequest *request = requester.get(QUrl(NApplication::instance().urlsManager()->widgetSettingsUrl()));
    QSignalSpy finished(request, &HttpApiRequest::finished);
    QVERIFY(finished.wait());
    QVERIFY(!request->noErrors());
    delete request;
}

void TestCore::configurationValues()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^network\\.strictTls is off in .+config-\\d+\\.json : TLS "
                                                          "errors of GET requests are ignored"));
    QVERIFY(m_emulator.loadConfig({{"oauth2ClientId", 77}, {"authorizationTimeoutMs", 1500},
                                   {"network", QJsonObject{{"requestTimeoutMs", 1234}, {"strictTls", false}}}}));
    const ConfigManager *config = NApplication::instance().configManager();
    QCOMPARE(config->oauth2ClientId(), 77);
    QCOMPARE(config->requestTimeout(), 1234);
    QCOMPARE(config->authorizationTimeout(), 1500);
    QVERIFY(!config->strictTls());
    QCOMPARE(config->loginProjectId(), m_emulator.config().value("loginProjectId").toString());
    QCOMPARE(NApplication::instance().appAccountName(), m_emulator.config().value("appAccountName").toString());
    QVERIFY(NApplication::instance().urlsManager()->oauthLoginUrl().contains(QLatin1String("%1")));
    QVERIFY(NApplication::instance().urlsManager()->exchangeOtpUrl().contains(QLatin1String("%1")));

    // Only an explicit false turns verification off.
    QVERIFY(m_emulator.loadConfig({{"network", QJsonObject{{"strictTls", "no"}}}}));
    QVERIFY(config->strictTls());
}

void TestCore::requesterSendsBearerToken()
{
    const QUrl url(NApplication::instance().urlsManager()->getUserAttributesUrl());
    const QString jwt = m_emulator.token(QStringLiteral("alice@example.com"));

    HttpApiRequester requester(nullptr);
    QSignalSpy refused(&requester, &HttpApiRequester::authorizationFailed);

    QScopedPointer<HttpApiRequest> anonymous(requester.post(url, "{}", QStringLiteral("application/json")));
    QVERIFY(QSignalSpy(anonymous.data(), &HttpApiRequest::finished).wait());
    QVERIFY(!anonymous->noErrors());

    // An empty body asks for nothing: the token check of the library's JWT validator.
    requester.authorized({{"access_token", jwt}});
    QScopedPointer<HttpApiRequest> authorized(requester.post(url, QByteArray(), QStringLiteral("application/json")));
    QVERIFY(QSignalSpy(authorized.data(), &HttpApiRequest::finished).wait());
    QVERIFY2(authorized->noErrors(), qPrintable(authorized->errorString()));

    m_emulator.injectFault(url, {{"status", 401}, {"body", "{}"}});
    QScopedPointer<HttpApiRequest> rejected(requester.post(url, "{}", QStringLiteral("application/json")));
    QVERIFY(QSignalSpy(rejected.data(), &HttpApiRequest::finished).wait());
    QCOMPARE(refused.count(), 1);
}

void TestCore::settingsReachTheFile_data()
{
    QTest::addColumn<QString>("trigger");

    QTest::newRow("settings-sync") << "sync";
    QTest::newRow("account-switch") << "switch";
    QTest::newRow("destruction") << "destroy";
}

void TestCore::settingsReachTheFile()
{
    QFETCH(QString, trigger);
    const QString account = QStringLiteral("ReachTheFile-") + trigger;

    auto settings = std::make_unique<SDKSettings>();
    settings->open(account);
    settings->setJWT(QStringLiteral("jwt-") + trigger);
    settings->setRememberMe(true);
    if (trigger == QLatin1String("sync")) {
        settings->settingsSync();
    } else if (trigger == QLatin1String("switch")) {
        settings->open(account + QStringLiteral("-next"));
        QVERIFY(settings->getJWT().isEmpty());
    } else {
        // Destruction waits for the file: no waiting here.
        settings.reset();
        QCOMPARE(onDisk(account, "jwt").toString(), QStringLiteral("jwt-") + trigger);
    }
    QTRY_COMPARE(onDisk(account, "jwt").toString(), QStringLiteral("jwt-") + trigger);
    QCOMPARE(onDisk(account, "rememberMe").toBool(), true);

    // A later start reads what was written.
    settings.reset();
    SDKSettings later;
    later.open(account);
    QCOMPARE(later.getJWT(), QStringLiteral("jwt-") + trigger);
    QCOMPARE(later.rememberMe(), true);
}

void TestCore::settingsIgnoreTheOrganisation()
{
    // Values written at the organisation's level, as a one-time password left for no product is.
    const QString organisationFile = m_emulator.tempPath() + QStringLiteral("/config/NIMBLA.conf");
    QFile file(organisationFile);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.write("[General]\njwt=organisation-jwt\nrememberMe=true\n") > 0);
    file.close();

    SDKSettings settings;
    settings.open(QStringLiteral("WithoutFallback"));
    QCOMPARE(settings.getJWT(), QString());
    QCOMPARE(settings.rememberMe(), false);
    QVERIFY(QFile::remove(organisationFile));
}

void TestCore::reportsReachJournal()
{
    ErrorLogger &logger = ErrorLogger::instance(ErrorLoggerSettings());
    logger.setAdditionalTags({{"user_id", "u-1"}});
    ErrorInfo info;
    info.message = QStringLiteral("title");
    info.details = QStringLiteral("details");
    info.area = QStringLiteral("authorization");
    logger.logError(info);
    EventsTracker::instance().trackNimblaEvent(QStringLiteral("SomethingHappened"), QVariant());

    const QJsonObject report = logger.recentEntries().constLast();
    QCOMPARE(report.value("message").toString(), QStringLiteral("title"));
    QCOMPARE(report.value("tags").toObject().value("user_id").toString(), QStringLiteral("u-1"));
    QCOMPARE(EventsTracker::instance().recentEntries().constLast().value("event").toString(),
             QStringLiteral("SomethingHappened"));

    QFile journal(logger.journalPath());
    QVERIFY(journal.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = journal.readAll().trimmed().split('\n');
    QCOMPARE(QJsonDocument::fromJson(lines.constLast()).object().value("details").toString(), QStringLiteral("details"));
}

QTEST_GUILESS_MAIN(TestCore)
#include "tst_core.moc"
