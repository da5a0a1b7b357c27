#include "emulatorfixture.h"
#include "napplication.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QtTest>

using namespace NimblaSDK;

/*
 * The emulator's PlayFab as PlayFab answers the Steam login, and the launcher
 * service's cross-auth of another player's ticket: what the sessions never ask.
 */

namespace {

struct Answer
{
    int status = 0;
    QJsonObject body;
    QByteArray location;
};

QString configuredUrl(const char *key)
{
    return NApplication::instance().configManager()->urls().value(QLatin1String(key)).toString();
}

QString hex(const QString &steamAccount)
{
    return QString::fromLatin1(steamAccount.toUtf8().toHex());
}

} // namespace

class TestPlayfabService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void steamLogin_data();
    void steamLogin();
    void crossAuthRefusesAnotherPlayersTicket();

private:
    Answer send(QNetworkRequest request, const QByteArray &body = {}, bool post = true);
    Answer steamLogin(const QJsonObject &body);

    EmulatorFixture m_emulator;
    QNetworkAccessManager m_network;
};

void TestPlayfabService::initTestCase()
{
    QVERIFY(m_emulator.start());
}

Answer TestPlayfabService::send(QNetworkRequest request, const QByteArray &body, bool post)
{
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    // The cross-auth answer is a redirect to look at, which Qt 6 would follow.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *reply = post ? m_network.post(request, body) : m_network.get(request);
    QSignalSpy finished(reply, &QNetworkReply::finished);
    if (!finished.wait(10000))
        qWarning() << "no answer from" << request.url();
    Answer answer{reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
                  QJsonDocument::fromJson(reply->readAll()).object(), reply->rawHeader("Location")};
    delete reply;
    return answer;
}

Answer TestPlayfabService::steamLogin(const QJsonObject &body)
{
    return send(QNetworkRequest(QUrl(configuredUrl("playfabSteamLoginUrl"))), QJsonDocument(body).toJson());
}

void TestPlayfabService::steamLogin_data()
{
    QTest::addColumn<QJsonObject>("body");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("error");       //!< empty: success
    QTest::addColumn<QString>("playFabId");   //!< on success; "*": any
    QTest::addColumn<QStringList>("details"); //!< the fields of "errorDetails"

    const QString title = QStringLiteral("0x7F");
    const QString peggy = hex("steam-playfab-peggy");
    QTest::newRow("linked-account") << QJsonObject{{"SteamTicket", peggy}, {"CreateAccount", false}, {"TitleId", title}}
                                    << 200 << "" << "9E6600000000000D" << QStringList();
    QTest::newRow("upper-case-ticket") << QJsonObject{{"SteamTicket", peggy.toUpper()}, {"TitleId", title}} << 200 << ""
                                       << "9E6600000000000D" << QStringList();
    QTest::newRow("unknown-account-created")
            << QJsonObject{{"SteamTicket", hex("steam-playfab-newcomer")}, {"CreateAccount", true}, {"TitleId", title}}
            << 200 << "" << "*" << QStringList();
    QTest::newRow("unknown-account-not-created")
            << QJsonObject{{"SteamTicket", hex("steam-playfab-stranger")}, {"CreateAccount", false}, {"TitleId", title}}
            << 400 << "AccountNotFound" << "" << QStringList();
    QTest::newRow("ticket-not-hex") << QJsonObject{{"SteamTicket", "steam-playfab-peggy"}, {"TitleId", title}} << 400
                                    << "InvalidSteamTicket" << "" << QStringList();
    QTest::newRow("no-ticket") << QJsonObject{{"CreateAccount", true}, {"TitleId", title}} << 400 << "InvalidParams" << ""
                               << QStringList{"SteamTicket"};
    QTest::newRow("create-account-not-boolean")
            << QJsonObject{{"SteamTicket", peggy}, {"CreateAccount", "yes"}, {"TitleId", title}} << 400
            << "InvalidParams" << "" << QStringList{"CreateAccount"};
    QTest::newRow("no-title") << QJsonObject{{"SteamTicket", peggy}} << 400 << "InvalidParams" << ""
                              << QStringList{"TitleId"};
    QTest::newRow("unknown-title") << QJsonObject{{"SteamTicket", peggy}, {"TitleId", "A1B2C"}} << 404
                                   << "InvalidTitleId" << "" << QStringList();
}

void TestPlayfabService::steamLogin()
{
    QFETCH(QJsonObject, body);
    QFETCH(int, status);
    QFETCH(QString, error);
    QFETCH(QString, playFabId);
    QFETCH(QStringList, details);

    const Answer answer = steamLogin(body);
    QCOMPARE(answer.status, status);
    QCOMPARE(answer.body.value("code").toInt(), status);
    if (error.isEmpty()) {
        QCOMPARE(answer.body.value("status").toString(), QStringLiteral("OK"));
        const QJsonObject data = answer.body.value("data").toObject();
        if (playFabId != "*")
            QCOMPARE(data.value("PlayFabId").toString(), playFabId);
        QVERIFY(data.value("SessionTicket").toString().startsWith(data.value("PlayFabId").toString() + '-'));
        QCOMPARE(data.value("NewlyCreated").toBool(), playFabId == "*");
        return;
    }
    QVERIFY(!answer.body.contains("data"));
    QCOMPARE(answer.body.value("error").toString(), error);
    QVERIFY(answer.body.value("errorCode").toInt() > 0);
    QVERIFY(!answer.body.value("errorMessage").toString().isEmpty());
    QVERIFY(!answer.body.value("status").toString().isEmpty());
    QCOMPARE(answer.body.value("errorDetails").toObject().keys(), details);
}

void TestPlayfabService::crossAuthRefusesAnotherPlayersTicket()
{
    const QJsonObject data = steamLogin({{"SteamTicket", hex("steam-playfab-peggy")}, {"TitleId", "0x7F"}})
                                     .body.value("data").toObject();
    const QString url = configuredUrl("playfabCrossAuthUrl")
                                .arg("A11CE0000000000A",
                                     QString::fromLatin1(QUrl::toPercentEncoding(data.value("SessionTicket").toString())));
    const Answer answer = send(QNetworkRequest(QUrl(url)), {}, false);
    QCOMPARE(answer.status, 302);
    const QUrlQuery redirect(QUrl(QString::fromUtf8(answer.location)));
    QVERIFY(!redirect.hasQueryItem("token"));
    QCOMPARE(redirect.queryItemValue("error", QUrl::FullyDecoded),
             QStringLiteral("Session ticket does not belong to PlayFab id A11CE0000000000A"));
}

QTEST_GUILESS_MAIN(TestPlayfabService)
#include "tst_playfabservice.moc"
