#include "emulatorfixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>
#include <QtTest>

#include <memory>

namespace {

const QString Demo = QStringLiteral("nimbla-demo-project");
const QString Confidential = QStringLiteral("nimbla-other-project");
const QString Loopback = QStringLiteral("http://localhost:5555/");
// A PKCE verifier and its S256 challenge, worked out apart from the emulator.
const QByteArray Verifier = "verifier-of-the-oauth-server-test.0123456789~";
const QString Challenge = QStringLiteral("aJq1FQWRS60MoLUi_60t5X2ta2VqEh8b7l9cDkfufHw");

using Items = QList<QPair<QString, QString>>;

struct Answer
{
    int status = 0;
    QMap<QByteArray, QByteArray> headers; //!< names in lower case
    QJsonObject json;
    QByteArray body;
    QUrl location;

    QString errorDescription() const
    {
        return json.value("error").toObject().value("description").toString();
    }
};

struct TokenRequest
{
    QString project;
    QByteArray body;           //!< "$CODE" stands for a fresh code of the project
    QByteArray authorization;  //!< the Authorization header, if any
    int status;
    QString error;             //!< the OAuth2 error that the description starts with
    bool codeSpent;            //!< the request used the code up
    bool challenged;           //!< the code was issued for Challenge
};

QByteArray basic(const QByteArray &credentials)
{
    return "Basic " + credentials.toBase64();
}

} // namespace

Q_DECLARE_METATYPE(TokenRequest)
Q_DECLARE_METATYPE(Items)

/*
 * The emulator's token and authorization endpoints behave as an OAuth2
 * service would, over real sockets.
 */
class TestOAuthServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void tokenRequests_data();
    void tokenRequests();
    void replayedCodeRevokesItsTokens();
    void faultFiresAsOftenAsAsked();
    void privateAttributesAreTheOwners();
    void validationKnowsTheProjects();

private:
    Answer send(QNetworkRequest request, const QByteArray &body = {}, bool post = false);
    Answer authorize(const QString &project, const QString &redirectUri, const Items &extra = {});
    QString freshCode(const QString &project, const QString &redirectUri = Loopback, const Items &extra = {});
    Answer token(const QString &project, const QByteArray &body, const QByteArray &authorization = {});
    //! POSTs \a body to the configured URL named \a key, with \a jwt as the bearer token if there is one.
    Answer postJson(const char *key, const QJsonObject &body, const QString &jwt = {});

    EmulatorFixture m_emulator;
    QNetworkAccessManager m_network;
};

void TestOAuthServer::initTestCase()
{
    QVERIFY(m_emulator.start());
}

Answer TestOAuthServer::send(QNetworkRequest request, const QByteArray &body, bool post)
{
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    std::unique_ptr<QNetworkReply> reply(post ? m_network.post(request, body) : m_network.get(request));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!finished.wait(10000))
        return {};
    Answer answer;
    answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    for (const QNetworkReply::RawHeaderPair &header : reply->rawHeaderPairs())
        answer.headers.insert(header.first.toLower(), header.second);
    answer.body = reply->readAll();
    answer.json = QJsonDocument::fromJson(answer.body).object();
    answer.location = reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    return answer;
}

Answer TestOAuthServer::authorize(const QString &project, const QString &redirectUri, const Items &extra)
{
    QUrl url = m_emulator.baseUrl().resolved(QUrl("/projects/" + project + "/social/testbook/authorize"));
    QUrlQuery query;
    const int clientId = m_emulator.adminConfig(project).value("oauth2ClientId").toInt();
    query.addQueryItem("client_id", QString::number(clientId));
    query.addQueryItem("response_type", "code");
    query.addQueryItem("state", "S-1");
    query.addQueryItem("scope", "offline");
    query.addQueryItem("redirect_uri", QString::fromUtf8(QUrl::toPercentEncoding(redirectUri)));
    for (const auto &item : extra)
        query.addQueryItem(item.first, item.second);
    url.setQuery(query);
    return send(QNetworkRequest(url));
}

QString TestOAuthServer::freshCode(const QString &project, const QString &redirectUri, const Items &extra)
{
    return QUrlQuery(authorize(project, redirectUri, extra).location).queryItemValue("code");
}

Answer TestOAuthServer::token(const QString &project, const QByteArray &body, const QByteArray &authorization)
{
    QNetworkRequest request(m_emulator.baseUrl().resolved(QUrl("/projects/" + project + "/oauth2/token")));
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
    if (!authorization.isEmpty())
        request.setRawHeader("Authorization", authorization);
    return send(request, body, true);
}

void TestOAuthServer::tokenRequests_data()
{
    QTest::addColumn<TokenRequest>("row");
    const QByteArray redirect = "&redirect_uri=" + QUrl::toPercentEncoding(Loopback);
    const QByteArray exchange = "grant_type=authorization_code&code=$CODE" + redirect;
    const QByteArray publicClient = exchange + "&client_id=101";
    const auto row = [](const char *tag, const QString &project, const QByteArray &body,
                        const QByteArray &authorization, int status, const QString &error, bool codeSpent) {
        QTest::newRow(tag) << TokenRequest{project, body, authorization, status, error, codeSpent, false};
    };
    const auto challengedRow = [](const char *tag, const QByteArray &body, int status, const QString &error,
                                  bool codeSpent) {
        QTest::newRow(tag) << TokenRequest{Demo, body, {}, status, error, codeSpent, true};
    };

    row("public/client-in-form", Demo, publicClient, {}, 200, {}, true);
    row("public/basic-without-secret", Demo, exchange, basic("101:"), 200, {}, true);
    row("public/basic-with-a-secret", Demo, exchange, basic("101:guess"), 401, "invalid_client", false);
    row("unknown-client", Demo, exchange + "&client_id=999", {}, 401, "invalid_client", false);
    row("no-client", Demo, exchange, {}, 401, "invalid_client", false);

    row("confidential/basic", Confidential, exchange, basic("102:other-project-secret"), 200, {}, true);
    row("confidential/wrong-secret", Confidential, exchange, basic("102:guess"), 401, "invalid_client", false);

    row("unknown-grant-type", Demo, "grant_type=password&code=$CODE&client_id=101" + redirect, {}, 400,
        "unsupported_grant_type", false);
    row("no-code", Demo, "grant_type=authorization_code&client_id=101" + redirect, {}, 400, "invalid_request", false);
    row("no-redirect-uri", Demo, "grant_type=authorization_code&code=$CODE&client_id=101", {}, 400,
        "invalid_grant", true);
    row("redirect-uri-unregistered", Demo,
        "grant_type=authorization_code&code=$CODE&client_id=101&redirect_uri=https%3A%2F%2Fevil.example.com%2F", {},
        400, "invalid_request", false);
    row("redirect-uri-differs", Demo,
        "grant_type=authorization_code&code=$CODE&client_id=101&redirect_uri=http%3A%2F%2Flocalhost%3A5556%2F", {},
        400, "invalid_grant", true);
    row("unknown-code", Demo, "grant_type=authorization_code&code=nosuch&client_id=101" + redirect, {}, 400,
        "invalid_grant", false);

    challengedRow("pkce/verifier", publicClient + "&code_verifier=" + Verifier, 200, {}, true);
    challengedRow("pkce/no-verifier", publicClient, 400, "invalid_grant", true);
    challengedRow("pkce/wrong-verifier", publicClient + "&code_verifier=" + Verifier.toUpper(), 400, "invalid_grant",
                  true);
    challengedRow("pkce/short-verifier", publicClient + "&code_verifier=" + Verifier.left(42), 400,
                  "invalid_request", false);
}

void TestOAuthServer::tokenRequests()
{
    QFETCH(TokenRequest, row);
    const Items challenge{{"code_challenge", Challenge}, {"code_challenge_method", "S256"}};
    const QString code = freshCode(row.project, Loopback, row.challenged ? challenge : Items());
    QVERIFY(code.startsWith("code-"));

    const Answer answer = token(row.project, QByteArray(row.body).replace("$CODE", code.toUtf8()), row.authorization);
    QCOMPARE(answer.status, row.status);
    QCOMPARE(answer.headers.value("cache-control"), QByteArray("no-store"));
    QCOMPARE(answer.headers.value("pragma"), QByteArray("no-cache"));
    QCOMPARE(answer.headers.contains("www-authenticate"), row.status == 401);
    if (row.status == 200) {
        QCOMPARE(answer.json.value("token_type").toString(), QStringLiteral("bearer"));
        QCOMPARE(answer.json.value("access_token").toString().count('.'), 2);
        QVERIFY(answer.json.value("refresh_token").toString().startsWith("refresh-"));
    } else {
        // The shape the library reads its failure text from.
        QVERIFY2(answer.errorDescription().startsWith(row.error + ": "), qPrintable(answer.errorDescription()));
        QCOMPARE(answer.json.value("error").toObject().value("code").toInt(), row.status);
    }

    const Answer retry = token(row.project,
                               "grant_type=authorization_code&code=" + code.toUtf8() + "&redirect_uri="
                                       + QUrl::toPercentEncoding(Loopback)
                                       + (row.challenged ? "&code_verifier=" + Verifier : QByteArray()),
                               row.project == Demo ? basic("101:") : basic("102:other-project-secret"));
    QCOMPARE(retry.status, row.codeSpent ? 400 : 200);
}

void TestOAuthServer::replayedCodeRevokesItsTokens()
{
    const QByteArray client = "&client_id=101&redirect_uri=" + QUrl::toPercentEncoding(Loopback);
    const auto exchangeCode = [&](const QString &code) {
        return token(Demo, "grant_type=authorization_code&code=" + code.toUtf8() + client);
    };
    const auto refresh = [&](const QString &refreshToken) {
        return token(Demo, "grant_type=refresh_token&refresh_token=" + refreshToken.toUtf8() + client);
    };

    const QString stolen = freshCode(Demo);
    const Answer first = exchangeCode(stolen);
    QCOMPARE(first.status, 200);
    const Answer rotated = refresh(first.json.value("refresh_token").toString());
    QCOMPARE(rotated.status, 200);
    const Answer unrelated = exchangeCode(freshCode(Demo));
    QCOMPARE(unrelated.status, 200);

    const Answer replay = exchangeCode(stolen);
    QCOMPARE(replay.status, 400);
    QCOMPARE(replay.errorDescription(), QStringLiteral("invalid_grant: authorization code is unknown or already used"));

    // The whole chain that the code started is gone, rotated tokens included; other sign-ins are not touched.
    const Answer revoked = refresh(rotated.json.value("refresh_token").toString());
    QCOMPARE(revoked.status, 400);
    QCOMPARE(revoked.errorDescription(), QStringLiteral("invalid_grant: refresh token is unknown or already used"));
    QCOMPARE(refresh(unrelated.json.value("refresh_token").toString()).status, 200);
    // Rotation spent the refresh token it answered.
    QCOMPARE(refresh(unrelated.json.value("refresh_token").toString()).status, 400);
}

Answer TestOAuthServer::postJson(const char *key, const QJsonObject &body, const QString &jwt)
{
    QNetworkRequest request(QUrl(m_emulator.config().value("urls").toObject().value(key).toString()));
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
    if (!jwt.isEmpty())
        request.setRawHeader("Authorization", "Bearer " + jwt.toUtf8());
    return send(request, QJsonDocument(body).toJson(), true);
}

void TestOAuthServer::faultFiresAsOftenAsAsked()
{
    const QJsonObject genuine{{"token", m_emulator.token("alice@example.com")}};
    m_emulator.injectFault(QUrl(m_emulator.config().value("urls").toObject().value("validateJWTUrl").toString()),
                           {{"status", 500}, {"times", 2}});
    QCOMPARE(postJson("validateJWTUrl", genuine).status, 500);
    QCOMPARE(postJson("validateJWTUrl", genuine).status, 500);
    QCOMPARE(postJson("validateJWTUrl", genuine).status, 204);
}

void TestOAuthServer::privateAttributesAreTheOwners()
{
    const QString alice = m_emulator.token("alice@example.com");
    const QJsonArray attributes{QJsonObject{{"key", "diary"}, {"permission", "private"}, {"value", "dear diary"}},
                                QJsonObject{{"key", "title"}, {"permission", "public"}, {"value", "ranger"}}};
    QCOMPARE(postJson("updateUserAttributesUrl", {{"publisher_project_id", 7}, {"attributes", attributes}}, alice).status,
             204);
    const QJsonObject query{{"publisher_project_id", 7},
                            {"keys", QJsonArray{"diary", "title"}},
                            {"user_id", "7d1f6a52-0001-4c1e-9a11-a11ce0000001"}};
    const QJsonObject diary{{"key", "diary"}, {"value", "dear diary"}};
    const QJsonObject title{{"key", "title"}, {"value", "ranger"}};
    QCOMPARE(QJsonDocument::fromJson(postJson("getUserAttributesUrl", query, alice).body).array(),
             (QJsonArray{diary, title}));
    // Another player sees only what Alice made public.
    const Answer byBob = postJson("getUserAttributesUrl", query, m_emulator.token("bob-locked@example.com"));
    QCOMPARE(QJsonDocument::fromJson(byBob.body).array(), QJsonArray{title});
}

void TestOAuthServer::validationKnowsTheProjects()
{
    QCOMPARE(postJson("validateJWTUrl", {{"token", m_emulator.token("alice@example.com", Demo)}}).status, 204);
    QCOMPARE(postJson("validateJWTUrl", {{"token", m_emulator.token("alice@example.com", "no-such-project")}}).status,
             422);
}

QTEST_GUILESS_MAIN(TestOAuthServer)
#include "tst_oauthserver.moc"
