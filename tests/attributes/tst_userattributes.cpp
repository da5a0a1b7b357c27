#include "attributes/userattributes.h"
#include "sessions/jwtloginsession.h"

#include "emulatorfixture.h"
#include "httpapirequest.h"
#include "httpapirequester.h"
#include "napplication.h"
#include "qtcompat_p.h"

#include <QTcpServer>
#include <QtTest>

#include <memory>

using namespace NimblaSDK;

namespace {

const QString Alice = QStringLiteral("alice@example.com");
const QString AliceId = QStringLiteral("7d1f6a52-0001-4c1e-9a11-a11ce0000001");

enum class Operation { Get, Update };

using Finished = void (UserAttributes::*)(UserAttributesError);

Finished finishedSignal(Operation operation)
{
    return operation == Operation::Get ? &UserAttributes::getFinished : &UserAttributes::updateFinished;
}

void run(UserAttributes &attributes, Operation operation)
{
    if (operation == Operation::Get)
        attributes.get();
    else
        attributes.update();
}

UserAttributesError errorOf(const QSignalSpy &spy, int index = 0)
{
    return spy.at(index).at(0).value<UserAttributesError>();
}

QString path(const QString &url)
{
    return QUrl(url).path();
}

const UrlsManager *urls()
{
    return NApplication::instance().urlsManager();
}

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestUserAttributes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void localState();
    void localCheckSendsNothing_data();
    void localCheckSendsNothing();
    void requestBody_data();
    void requestBody();
    void getReturnsWhatUpdateWrote();
    void signalOrder_data();
    void signalOrder();
    void overlappingCallsEachSend();
    void requestOutlivesItsClient();
    void httpError_data();
    void httpError();
    void errorCrossesQueuedConnection();
    void emulatorRejectsMalformedBodies_data();
    void emulatorRejectsMalformedBodies();

private:
    //! A client of the player whose JWT it is, for publisher project 7.
    std::unique_ptr<UserAttributes> client(const QString &jwt, const QString &userId = AliceId);

    EmulatorFixture m_emulator;
    QString m_jwt;
};

void TestUserAttributes::initTestCase()
{
    QVERIFY(m_emulator.start());
    m_jwt = m_emulator.token(Alice);
    QVERIFY(!m_jwt.isEmpty());
}

void TestUserAttributes::init()
{
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    QVERIFY(m_emulator.loadConfig());
}

std::unique_ptr<UserAttributes> TestUserAttributes::client(const QString &jwt, const QString &userId)
{
    auto requester = QSharedPointer<HttpApiRequester>::create(nullptr);
    requester->authorized({{QStringLiteral("access_token"), jwt}});
    auto attributes = std::make_unique<UserAttributes>(requester, QSharedPointer<AuthManager>(), nullptr);
    attributes->setPublisherID(7);
    attributes->setUserID(userId);
    return attributes;
}

void TestUserAttributes::localState()
{
    UserAttributes attributes(QSharedPointer<HttpApiRequester>::create(nullptr), QSharedPointer<AuthManager>(), nullptr);
    QCOMPARE(attributes.publisherID(), -1);
    QCOMPARE(attributes.state(), UserAttributes::UA_STATE_NONE);

    QSignalSpy publisher(&attributes, &UserAttributes::publisherIDChanged);
    QSignalSpy state(&attributes, &UserAttributes::stateChanged);
    QSignalSpy user(&attributes, &UserAttributes::userIDChanged);
    for (int round = 0; round < 2; ++round) {
        attributes.setPublisherID(0);
        attributes.setState(UserAttributes::UA_STATE_IN_PROGRESS);
        attributes.setUserID(AliceId);
    }
    QCOMPARE(publisher.count(), 1);
    QCOMPARE(state.count(), 1);
    QCOMPARE(user.count(), 1);

    attributes.setKey(QStringLiteral("level"));
    attributes.setKey(QStringLiteral("title"));
    attributes.setKey(QStringLiteral("level"));
    attributes.setKey(QStringLiteral("Level"));
    QCOMPARE(attributes.keys(), (QStringList{"level", "title", "Level"}));
    attributes.setKeys({QStringLiteral("motto")});
    QCOMPARE(attributes.keys(), QStringList{"motto"});

    QCOMPARE(attributes.value(QStringLiteral("motto")), QString());
    attributes.setValue(QStringLiteral("motto"), QStringLiteral("onwards"));
    attributes.setValue(QStringLiteral("motto"), QStringLiteral("upwards"));
    QCOMPARE(attributes.value(QStringLiteral("motto")), QStringLiteral("upwards"));
}

void TestUserAttributes::localCheckSendsNothing_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<int>("publisherId");
    QTest::addColumn<QString>("userId");

    for (Operation operation : {Operation::Get, Operation::Update}) {
        const char *name = operation == Operation::Get ? "get" : "update";
        QTest::addRow("%s: publisher id never set", name) << operation << -1 << AliceId;
        QTest::addRow("%s: negative publisher id", name) << operation << -5 << AliceId;
        QTest::addRow("%s: no user id", name) << operation << 7 << QString();
        QTest::addRow("%s: neither", name) << operation << -1 << QString();
    }
}

void TestUserAttributes::localCheckSendsNothing()
{
    QFETCH(Operation, operation);
    QFETCH(int, publisherId);
    QFETCH(QString, userId);

    std::unique_ptr<UserAttributes> attributes = client(m_jwt, userId);
    attributes->setPublisherID(publisherId);
    attributes->setKeys({QStringLiteral("level")});
    QSignalSpy finished(attributes.get(), finishedSignal(operation));
    QSignalSpy state(attributes.get(), &UserAttributes::stateChanged);

    run(*attributes, operation);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(errorOf(finished).code, 1);
    QCOMPARE(errorOf(finished).message, QStringLiteral("Publisher id is incorrect"));
    QCOMPARE(state.count(), 0);

    // A request that passes the check goes out after it, so the log shows whether the first one did.
    attributes->setPublisherID(7);
    attributes->setUserID(AliceId);
    run(*attributes, operation);
    QVERIFY(finished.wait());
    QCOMPARE(errorOf(finished, 1).code, 0);
    const QString url = operation == Operation::Get ? urls()->getUserAttributesUrl() : urls()->updateUserAttributesUrl();
    QCOMPARE(m_emulator.requests(path(url)).size(), 1);
}

void TestUserAttributes::requestBody_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<int>("publisherId");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QByteArray>("body");

    // Indented, with the keys of each object in order.
    QTest::newRow("get") << Operation::Get << 7 << QStringList{"title", "level"}
                         << QByteArray("{\n"
                                       "    \"keys\": [\n"
                                       "        \"title\",\n"
                                       "        \"level\"\n"
                                       "    ],\n"
                                       "    \"publisher_project_id\": 7,\n"
                                       "    \"user_id\": \"7d1f6a52-0001-4c1e-9a11-a11ce0000001\"\n"
                                       "}\n");
    QTest::newRow("get: publisher 0, no keys") << Operation::Get << 0 << QStringList()
                                               << QByteArray("{\n"
                                                             "    \"keys\": [\n"
                                                             "    ],\n"
                                                             "    \"publisher_project_id\": 0,\n"
                                                             "    \"user_id\": \"7d1f6a52-0001-4c1e-9a11-a11ce0000001\"\n"
                                                             "}\n");
    // A key without a value goes out as "", always with the "public" permission.
    QTest::newRow("update") << Operation::Update << 7 << QStringList{"title", "level"}
                            << QByteArray("{\n"
                                          "    \"attributes\": [\n"
                                          "        {\n"
                                          "            \"key\": \"title\",\n"
                                          "            \"permission\": \"public\",\n"
                                          "            \"value\": \"Knight \\\"of\\\" Ünï\"\n"
                                          "        },\n"
                                          "        {\n"
                                          "            \"key\": \"level\",\n"
                                          "            \"permission\": \"public\",\n"
                                          "            \"value\": \"\"\n"
                                          "        }\n"
                                          "    ],\n"
                                          "    \"publisher_project_id\": 7\n"
                                          "}\n");
    QTest::newRow("update: publisher 0, no keys") << Operation::Update << 0 << QStringList()
                                                  << QByteArray("{\n"
                                                                "    \"attributes\": [\n"
                                                                "    ],\n"
                                                                "    \"publisher_project_id\": 0\n"
                                                                "}\n");
}

void TestUserAttributes::requestBody()
{
    QFETCH(Operation, operation);
    QFETCH(int, publisherId);
    QFETCH(QStringList, keys);
    QFETCH(QByteArray, body);

    std::unique_ptr<UserAttributes> attributes = client(m_jwt);
    attributes->setPublisherID(publisherId);
    attributes->setKeys(keys);
    attributes->setValue(QStringLiteral("title"), QStringLiteral("Knight \"of\" Ünï"));
    QSignalSpy finished(attributes.get(), finishedSignal(operation));
    run(*attributes, operation);
    QVERIFY(finished.wait());
    QCOMPARE(errorOf(finished).code, 0);

    const QJsonArray requests = m_emulator.requests();
    QCOMPARE(requests.size(), 1);
    const QJsonObject request = requests.at(0).toObject();
    const QString url = operation == Operation::Get ? urls()->getUserAttributesUrl() : urls()->updateUserAttributesUrl();
    QCOMPARE(request.value("method").toString(), QStringLiteral("POST"));
    QCOMPARE(request.value("path").toString(), path(url));
    QCOMPARE(request.value("body").toString().toUtf8(), body);
    const QJsonObject headers = request.value("headers").toObject();
    QCOMPARE(headers.value("content-type").toString(), QStringLiteral("application/json"));
    QCOMPARE(headers.value("authorization").toString(), QStringLiteral("Bearer ") + m_jwt);
}

void TestUserAttributes::getReturnsWhatUpdateWrote()
{
    // The launcher's way: a player signed in, and the client made from the session's identity.
    JwtLoginSession session(nullptr);
    QSignalSpy signedIn(&session, &AbstractSession::loginFinished);
    session.setJwtToken(m_emulator.token(QStringLiteral("bob-locked@example.com")));
    session.tryLogin();
    QVERIFY(signedIn.wait());

    std::unique_ptr<UserAttributes> writer = client(session.jwt(), session.userId());
    writer->setKeys({QStringLiteral("title"), QStringLiteral("motto"), QStringLiteral("empty")});
    writer->setValue(QStringLiteral("title"), QStringLiteral("Knight"));
    writer->setValue(QStringLiteral("motto"), QStringLiteral("Ünïcode & \"quotes\""));
    QSignalSpy updated(writer.get(), &UserAttributes::updateFinished);
    writer->update();
    QVERIFY(updated.wait());
    QCOMPARE(errorOf(updated).code, 0);
    QCOMPARE(writer->value(QStringLiteral("empty")), QString());

    std::unique_ptr<UserAttributes> reader = client(session.jwt(), session.userId());
    reader->setKeys({QStringLiteral("motto"), QStringLiteral("title"), QStringLiteral("empty"), QStringLiteral("never")});
    reader->setValue(QStringLiteral("never"), QStringLiteral("kept locally"));
    QSignalSpy read(reader.get(), &UserAttributes::getFinished);
    reader->get();
    QVERIFY(read.wait());
    QCOMPARE(errorOf(read).code, 0);
    QCOMPARE(reader->value(QStringLiteral("title")), QStringLiteral("Knight"));
    QCOMPARE(reader->value(QStringLiteral("motto")), QStringLiteral("Ünïcode & \"quotes\""));
    QCOMPARE(reader->value(QStringLiteral("empty")), QString());
    // The answer leaves out what was never written; the local value stays.
    QCOMPARE(reader->value(QStringLiteral("never")), QStringLiteral("kept locally"));

    // Another publisher project keeps its own attributes.
    std::unique_ptr<UserAttributes> elsewhere = client(session.jwt(), session.userId());
    elsewhere->setPublisherID(8);
    elsewhere->setKeys({QStringLiteral("title")});
    QSignalSpy readElsewhere(elsewhere.get(), &UserAttributes::getFinished);
    elsewhere->get();
    QVERIFY(readElsewhere.wait());
    QCOMPARE(errorOf(readElsewhere).code, 0);
    QCOMPARE(elsewhere->value(QStringLiteral("title")), QString());

    // Public attributes are there for any signed-in player to read.
    std::unique_ptr<UserAttributes> other = client(m_jwt, session.userId());
    other->setKeys({QStringLiteral("title")});
    QSignalSpy readByOther(other.get(), &UserAttributes::getFinished);
    other->get();
    QVERIFY(readByOther.wait());
    QCOMPARE(other->value(QStringLiteral("title")), QStringLiteral("Knight"));
}

void TestUserAttributes::signalOrder_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QStringList>("expected");

    const QJsonObject refused{{"status", 403}, {"body", "{}"}};
    QTest::newRow("get succeeds") << Operation::Get << QJsonObject()
                                  << QStringList{"state 1", "getFinished 0", "state 0"};
    QTest::newRow("get fails") << Operation::Get << refused << QStringList{"state 1", "state 0", "getFinished 3"};
    QTest::newRow("update succeeds") << Operation::Update << QJsonObject()
                                     << QStringList{"state 1", "updateFinished 0", "state 0"};
    QTest::newRow("update fails") << Operation::Update << refused
                                  << QStringList{"state 1", "state 0", "updateFinished 3"};
}

void TestUserAttributes::signalOrder()
{
    QFETCH(Operation, operation);
    QFETCH(QJsonObject, fault);
    QFETCH(QStringList, expected);

    if (!fault.isEmpty()) {
        m_emulator.injectFault(QUrl(urls()->getUserAttributesUrl()), fault);
        m_emulator.injectFault(QUrl(urls()->updateUserAttributesUrl()), fault);
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("^Error: your auth token is invalid"));
    }
    std::unique_ptr<UserAttributes> attributes = client(m_jwt);
    QStringList order;
    connect(attributes.get(), &UserAttributes::stateChanged, this,
            [&order](UserAttributes::State state) { order << QStringLiteral("state %1").arg(state); });
    connect(attributes.get(), &UserAttributes::getFinished, this,
            [&order](const UserAttributesError &error) { order << QStringLiteral("getFinished %1").arg(error.code); });
    connect(attributes.get(), &UserAttributes::updateFinished, this, [&order](const UserAttributesError &error) {
        order << QStringLiteral("updateFinished %1").arg(error.code);
    });

    run(*attributes, operation);
    QCOMPARE(attributes->state(), UserAttributes::UA_STATE_IN_PROGRESS);
    QTRY_COMPARE(order.size(), 3);
    QCOMPARE(order, expected);
    QCOMPARE(attributes->state(), UserAttributes::UA_STATE_NONE);
}

void TestUserAttributes::overlappingCallsEachSend()
{
    // The first answer is held back, so the second one arrives first.
    m_emulator.injectFault(QUrl(urls()->getUserAttributesUrl()), {{"delayMs", 300}, {"times", 1}});
    std::unique_ptr<UserAttributes> attributes = client(m_jwt);
    QSignalSpy finished(attributes.get(), &UserAttributes::getFinished);
    QSignalSpy state(attributes.get(), &UserAttributes::stateChanged);
    attributes->get();
    attributes->get();
    QTRY_COMPARE(finished.count(), 2);
    QCOMPARE(m_emulator.requests(path(urls()->getUserAttributesUrl())).size(), 2);
    QCOMPARE(state.count(), 2);
    QCOMPARE(state.at(1).at(0).value<UserAttributes::State>(), UserAttributes::UA_STATE_NONE);
}

void TestUserAttributes::requestOutlivesItsClient()
{
    m_emulator.injectFault(QUrl(urls()->getUserAttributesUrl()), {{"delayMs", 200}});
    auto requester = QSharedPointer<HttpApiRequester>::create(nullptr);
    requester->authorized({{QStringLiteral("access_token"), m_jwt}});
    auto attributes = std::make_unique<UserAttributes>(requester, QSharedPointer<AuthManager>(), nullptr);
    attributes->setPublisherID(7);
    attributes->setUserID(AliceId);
    attributes->get();
    auto *request = requester->findChild<HttpApiRequest *>();
    QVERIFY(request);
    QSignalSpy released(request, &QObject::destroyed);
    attributes.reset();
    QVERIFY(released.wait());
}

void TestUserAttributes::httpError_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<bool>("expiredToken");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("reason"); //!< of the answer; empty: nothing listens
    QTest::addColumn<int>("status");

    for (Operation operation : {Operation::Get, Operation::Update}) {
        const char *name = operation == Operation::Get ? "get" : "update";
        const auto canned = [](int status) { return QJsonObject{{"status", status}, {"body", "{}"}}; };
        QTest::addRow("%s: expired token", name) << operation << QJsonObject() << true << 3
                                                 << "your auth token is invalid" << "Forbidden" << 403;
        QTest::addRow("%s: 403", name) << operation << canned(403) << false << 3 << "your auth token is invalid"
                                       << "Forbidden" << 403;
        QTest::addRow("%s: 422", name) << operation << canned(422) << false << 4
                                       << "parameters sent to the server are incorrect." << "Unprocessable Entity"
                                       << 422;
        QTest::addRow("%s: 429", name) << operation << canned(429) << false << 5 << "too many request"
                                       << "Too Many Requests" << 429;
        QTest::addRow("%s: 500", name) << operation << canned(500) << false << 2 << "" << "Internal Server Error"
                                       << 500;
        QTest::addRow("%s: 400", name) << operation << canned(400) << false << 2 << "" << "Bad Request" << 400;
        QTest::addRow("%s: nothing listening", name) << operation << QJsonObject() << false << 2 << "" << "" << 0;
    }
}

void TestUserAttributes::httpError()
{
    QFETCH(Operation, operation);
    QFETCH(QJsonObject, fault);
    QFETCH(bool, expiredToken);
    QFETCH(int, code);
    QFETCH(QString, text);
    QFETCH(QString, reason);
    QFETCH(int, status);

    const char *urlKey = operation == Operation::Get ? "getUserAttributesUrl" : "updateUserAttributesUrl";
    QString url = m_emulator.config().value("urls").toObject().value(QLatin1String(urlKey)).toString();
    QString description;
    if (reason.isEmpty()) {
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        url.replace(m_emulator.baseUrl().authority(), QStringLiteral("127.0.0.1:%1").arg(closed.serverPort()));
        closed.close();
        QVERIFY(m_emulator.loadConfig({{"urls", QJsonObject{{urlKey, url}}}}));
        description = QStringLiteral("Connection refused");
    } else {
        description = QStringLiteral("Error transferring %1 - server replied: %2").arg(url, reason);
    }
    if (!fault.isEmpty())
        m_emulator.injectFault(QUrl(url), fault);

    std::unique_ptr<UserAttributes> attributes =
            client(expiredToken ? m_emulator.token(Alice, QString(), -60) : m_jwt);
    attributes->setKeys({QStringLiteral("title")});
    QSignalSpy finished(attributes.get(), finishedSignal(operation));
    const QString message = text + QStringLiteral(" Error description: ") + description;
    QTest::ignoreMessage(QtCriticalMsg, qPrintable(QStringLiteral("Error: %1 Http status code: %2").arg(message).arg(status)));
    run(*attributes, operation);
    QVERIFY(finished.wait());
    QCOMPARE(finished.count(), 1);
    QCOMPARE(errorOf(finished).code, code);
    QCOMPARE(errorOf(finished).message, message);
    QCOMPARE(attributes->state(), UserAttributes::UA_STATE_NONE);
}

void TestUserAttributes::errorCrossesQueuedConnection()
{
    std::unique_ptr<UserAttributes> attributes = client(m_jwt);
    QCOMPARE(QtCompat::metaTypeId("UserAttributesError"), qMetaTypeId<UserAttributesError>());
    QCOMPARE(QtCompat::metaTypeId("NimblaSDK::UserAttributesError"), qMetaTypeId<UserAttributesError>());
    QCOMPARE(QtCompat::metaTypeId("ValuesMap"), qMetaTypeId<ValuesMap>());

    QThread thread;
    QObject receiver;
    receiver.moveToThread(&thread);
    thread.start();
    UserAttributesError received;
    QThread *receivedOn = nullptr;
    QSignalSpy arrived(&thread, &QThread::finished);
    connect(attributes.get(), &UserAttributes::getFinished, &receiver,
            [&](const UserAttributesError &error) {
                received = error;
                receivedOn = QThread::currentThread();
                thread.quit();
            },
            Qt::QueuedConnection);
    attributes->setUserID(QString());
    attributes->get();
    QVERIFY(arrived.wait());
    QCOMPARE(receivedOn, &thread);
    QCOMPARE(received.code, 1);
    QCOMPARE(received.message, QStringLiteral("Publisher id is incorrect"));
}

void TestUserAttributes::emulatorRejectsMalformedBodies_data()
{
    QTest::addColumn<QString>("urlKey");
    QTest::addColumn<bool>("bearer");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");

    const QString get = QStringLiteral("getUserAttributesUrl");
    const QString update = QStringLiteral("updateUserAttributesUrl");
    QTest::newRow("get: no bearer") << get << false << QByteArray() << 403;
    QTest::newRow("get: token check") << get << true << QByteArray() << 200;
    QTest::newRow("get: not JSON") << get << true << QByteArray("{\"keys\": [") << 400;
    QTest::newRow("get: empty object") << get << true << QByteArray("{}") << 422;
    QTest::newRow("get: negative project") << get << true
                                           << QByteArray(R"({"keys": [], "publisher_project_id": -1, "user_id": "u"})")
                                           << 422;
    QTest::newRow("get: key not a string") << get << true
                                           << QByteArray(R"({"keys": [1], "publisher_project_id": 1, "user_id": "u"})")
                                           << 422;
    QTest::newRow("get: no user") << get << true << QByteArray(R"({"keys": [], "publisher_project_id": 1})") << 422;
    QTest::newRow("update: no bearer") << update << false << QByteArray(R"({"publisher_project_id": 1, "attributes": []})")
                                       << 403;
    QTest::newRow("update: array body") << update << true << QByteArray("[]") << 400;
    QTest::newRow("update: no attributes") << update << true << QByteArray(R"({"publisher_project_id": 1})") << 422;
    QTest::newRow("update: unknown permission")
            << update << true
            << QByteArray(R"({"publisher_project_id": 1, "attributes": [{"key": "k", "permission": "all", "value": ""}]})")
            << 422;
    QTest::newRow("update: value not text")
            << update << true
            << QByteArray(R"({"publisher_project_id": 1, "attributes": [{"key": "k", "permission": "public", "value": 3}]})")
            << 422;
    QTest::newRow("update: empty key")
            << update << true
            << QByteArray(R"({"publisher_project_id": 1, "attributes": [{"key": "", "permission": "public", "value": ""}]})")
            << 422;
}

void TestUserAttributes::emulatorRejectsMalformedBodies()
{
    QFETCH(QString, urlKey);
    QFETCH(bool, bearer);
    QFETCH(QByteArray, body);
    QFETCH(int, status);

    HttpApiRequester requester(nullptr);
    if (bearer)
        requester.authorized({{QStringLiteral("access_token"), m_jwt}});
    const QUrl url(NApplication::instance().configManager()->urls().value(urlKey).toString());
    QScopedPointer<HttpApiRequest> request(requester.post(url, body, QStringLiteral("application/json")));
    QSignalSpy finished(request.data(), &HttpApiRequest::finished);
    QVERIFY(finished.wait());
    QCOMPARE(request->httpStatusCode(), status);
    const QJsonDocument answer = QJsonDocument::fromJson(finished.at(0).at(0).toByteArray());
    if (status == 200)
        QCOMPARE(answer.array(), QJsonArray());
    else
        QVERIFY2(!answer.object().value("error").toObject().value("description").toString().isEmpty(),
                 finished.at(0).at(0).toByteArray().constData());
}

QTEST_GUILESS_MAIN(TestUserAttributes)
#include "tst_userattributes.moc"
