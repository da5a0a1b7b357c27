#include "attributes/userattributes.h"
#include "sessions/jwtloginsession.h"

#include "emulatorsuite.h"
#include "httpapirequest.h"
#include "httpapirequester.h"
#include "napplication.h"
#include "qtcompat_p.h"

#include <QtTest>

#include <memory>

using namespace NimblaSDK;

namespace {

const QString Alice = QStringLiteral("alice@example.com");
const QString AliceId = QStringLiteral("7d1f6a52-0001-4c1e-9a11-a11ce0000001");

enum class Operation { Get, Update };

QString urlOf(Operation operation)
{
    const UrlsManager *urls = NApplication::instance().urlsManager();
    return operation == Operation::Get ? urls->getUserAttributesUrl() : urls->updateUserAttributesUrl();
}

//! Starts \a operation, spying on its outcome signal.
std::unique_ptr<QSignalSpy> start(UserAttributes &attributes, Operation operation)
{
    auto finished = std::make_unique<QSignalSpy>(
            &attributes, operation == Operation::Get ? &UserAttributes::getFinished : &UserAttributes::updateFinished);
    if (operation == Operation::Get)
        attributes.get();
    else
        attributes.update();
    return finished;
}

UserAttributesError errorOf(const QSignalSpy &spy, int index = 0)
{
    return spy.at(index).at(0).value<UserAttributesError>();
}

//! Runs \a operation to its outcome; code -1 if none came.
UserAttributesError finish(UserAttributes &attributes, Operation operation)
{
    const std::unique_ptr<QSignalSpy> finished = start(attributes, operation);
    if (!finished->isEmpty() || finished->wait())
        return errorOf(*finished);
    UserAttributesError none;
    none.code = -1;
    return none;
}

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestUserAttributes : public EmulatorSuite
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

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
    void refusal_data();
    void refusal();
    void errorCrossesQueuedConnection();

private:
    //! A client of the player whose JWT it is, for publisher project 7.
    std::unique_ptr<UserAttributes> client(const QString &jwt, const QString &userId = AliceId,
                                           QSharedPointer<HttpApiRequester> requester = {});

    QString m_jwt;
};

void TestUserAttributes::initTestCase()
{
    EmulatorSuite::initTestCase();
    m_jwt = m_emulator.token(Alice);
    QVERIFY(!m_jwt.isEmpty());
}

std::unique_ptr<UserAttributes> TestUserAttributes::client(const QString &jwt, const QString &userId,
                                                           QSharedPointer<HttpApiRequester> requester)
{
    if (!requester)
        requester = QSharedPointer<HttpApiRequester>::create(nullptr);
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

    // Each change is announced once.
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

    for (const char *key : {"level", "title", "level", "Level"})
        attributes.setKey(QString::fromLatin1(key));
    QCOMPARE(attributes.keys(), (QStringList{"level", "title", "Level"}));
    attributes.setKeys({QStringLiteral("motto")});
    QCOMPARE(attributes.keys(), QStringList{"motto"});
}

void TestUserAttributes::localCheckSendsNothing_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<int>("publisherId");
    QTest::addColumn<QString>("userId");

    for (Operation operation : {Operation::Get, Operation::Update}) {
        const char *name = operation == Operation::Get ? "get" : "update";
        QTest::addRow("%s: no publisher id", name) << operation << -1 << AliceId;
        QTest::addRow("%s: no user id", name) << operation << 7 << QString();
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
    QSignalSpy state(attributes.get(), &UserAttributes::stateChanged);

    const std::unique_ptr<QSignalSpy> finished = start(*attributes, operation);
    QCOMPARE(finished->count(), 1);
    QCOMPARE(errorOf(*finished).code, 1);
    QCOMPARE(errorOf(*finished).message, QStringLiteral("Publisher id is incorrect"));
    QCOMPARE(state.count(), 0);

    // A request that passes the check goes out after it, so the log shows whether the first one did.
    attributes->setPublisherID(7);
    attributes->setUserID(AliceId);
    QCOMPARE(finish(*attributes, operation).code, 0);
    QCOMPARE(m_emulator.requests(QUrl(urlOf(operation)).path()).size(), 1);
}

void TestUserAttributes::requestBody_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<int>("publisherId");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QJsonObject>("body");

    const QStringList keys{"title", "level"};
    QTest::newRow("get") << Operation::Get << 7 << keys
                         << QJsonObject{{"keys", QJsonArray{"title", "level"}}, {"publisher_project_id", 7}, {"user_id", AliceId}};
    QTest::newRow("get: publisher 0, no keys")
            << Operation::Get << 0 << QStringList()
            << QJsonObject{{"keys", QJsonArray()}, {"publisher_project_id", 0}, {"user_id", AliceId}};
    // A key without a value goes out as "", always with the "public" permission.
    const auto attribute = [](const char *key, const QString &value) {
        return QJsonObject{{"key", key}, {"permission", "public"}, {"value", value}};
    };
    QTest::newRow("update") << Operation::Update << 7 << keys
                            << QJsonObject{{"attributes", QJsonArray{attribute("title", "Knight \"of\" Ünï"), attribute("level", "")}},
                                           {"publisher_project_id", 7}};
    QTest::newRow("update: publisher 0, no keys") << Operation::Update << 0 << QStringList()
                                                  << QJsonObject{{"attributes", QJsonArray()}, {"publisher_project_id", 0}};
}

void TestUserAttributes::requestBody()
{
    QFETCH(Operation, operation);
    QFETCH(int, publisherId);
    QFETCH(QStringList, keys);
    QFETCH(QJsonObject, body);

    std::unique_ptr<UserAttributes> attributes = client(m_jwt);
    attributes->setPublisherID(publisherId);
    attributes->setKeys(keys);
    attributes->setValue(QStringLiteral("title"), QStringLiteral("Knight \"of\" Ünï"));
    QCOMPARE(finish(*attributes, operation).code, 0);

    const QJsonArray requests = m_emulator.requests();
    QCOMPARE(requests.size(), 1);
    const QJsonValue request = requests.at(0);
    QCOMPARE(request["method"].toString(), QStringLiteral("POST"));
    QCOMPARE(request["path"].toString(), QUrl(urlOf(operation)).path());
    // Indented, with the keys of each object in order.
    QCOMPARE(request["body"].toString().toUtf8(), QJsonDocument(body).toJson(QJsonDocument::Indented));
    QCOMPARE(request["headers"]["content-type"].toString(), QStringLiteral("application/json"));
    QCOMPARE(request["headers"]["authorization"].toString(), QStringLiteral("Bearer ") + m_jwt);
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
    writer->setKeys({"title", "motto", "empty"});
    writer->setValue("title", "Knight");
    writer->setValue("motto", "Ünïcode & \"quotes\"");
    QCOMPARE(finish(*writer, Operation::Update).code, 0);

    std::unique_ptr<UserAttributes> reader = client(session.jwt(), session.userId());
    reader->setKeys({"motto", "title", "empty", "never"});
    reader->setValue("never", "kept locally");
    QCOMPARE(finish(*reader, Operation::Get).code, 0);
    QCOMPARE(reader->value("title"), QStringLiteral("Knight"));
    QCOMPARE(reader->value("motto"), QStringLiteral("Ünïcode & \"quotes\""));
    QCOMPARE(reader->value("empty"), QString());
    // The answer leaves out what was never written; the local value stays.
    QCOMPARE(reader->value("never"), QStringLiteral("kept locally"));

    // Another publisher project keeps its own attributes.
    std::unique_ptr<UserAttributes> elsewhere = client(session.jwt(), session.userId());
    elsewhere->setPublisherID(8);
    elsewhere->setKeys({"title"});
    QCOMPARE(finish(*elsewhere, Operation::Get).code, 0);
    QCOMPARE(elsewhere->value("title"), QString());

    // Public attributes are there for any signed-in player to read.
    std::unique_ptr<UserAttributes> other = client(m_jwt, session.userId());
    other->setKeys({"title"});
    QCOMPARE(finish(*other, Operation::Get).code, 0);
    QCOMPARE(other->value("title"), QStringLiteral("Knight"));
}

void TestUserAttributes::signalOrder_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<bool>("refused");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("get succeeds") << Operation::Get << false << QStringList{"state 1", "getFinished 0", "state 0"};
    QTest::newRow("get fails") << Operation::Get << true << QStringList{"state 1", "state 0", "getFinished 3"};
    QTest::newRow("update succeeds") << Operation::Update << false << QStringList{"state 1", "updateFinished 0", "state 0"};
    QTest::newRow("update fails") << Operation::Update << true << QStringList{"state 1", "state 0", "updateFinished 3"};
}

void TestUserAttributes::signalOrder()
{
    QFETCH(Operation, operation);
    QFETCH(bool, refused);
    QFETCH(QStringList, expected);

    if (refused) {
        m_emulator.injectFault(QUrl(urlOf(operation)), {{"status", 403}, {"body", "{}"}});
        QTest::ignoreMessage(QtCriticalMsg, QRegularExpression("^Error: your auth token is invalid"));
    }
    std::unique_ptr<UserAttributes> attributes = client(m_jwt);
    QStringList order;
    connect(attributes.get(), &UserAttributes::stateChanged, this,
            [&order](UserAttributes::State state) { order << QStringLiteral("state %1").arg(state); });
    connect(attributes.get(), &UserAttributes::getFinished, this,
            [&order](const UserAttributesError &error) { order << QStringLiteral("getFinished %1").arg(error.code); });
    connect(attributes.get(), &UserAttributes::updateFinished, this,
            [&order](const UserAttributesError &error) { order << QStringLiteral("updateFinished %1").arg(error.code); });

    start(*attributes, operation);
    QCOMPARE(attributes->state(), UserAttributes::UA_STATE_IN_PROGRESS);
    QTRY_COMPARE(order.size(), 3);
    QCOMPARE(order, expected);
    QCOMPARE(attributes->state(), UserAttributes::UA_STATE_NONE);
}

void TestUserAttributes::overlappingCallsEachSend()
{
    // The first answer is held back, so the second one arrives first.
    m_emulator.injectFault(QUrl(urlOf(Operation::Get)), {{"delayMs", 300}, {"times", 1}});
    std::unique_ptr<UserAttributes> attributes = client(m_jwt);
    QSignalSpy finished(attributes.get(), &UserAttributes::getFinished);
    QSignalSpy state(attributes.get(), &UserAttributes::stateChanged);
    attributes->get();
    attributes->get();
    QTRY_COMPARE(finished.count(), 2);
    QCOMPARE(m_emulator.requests(QUrl(urlOf(Operation::Get)).path()).size(), 2);
    QCOMPARE(state.count(), 2);
    QCOMPARE(state.at(1).at(0).value<UserAttributes::State>(), UserAttributes::UA_STATE_NONE);
}

void TestUserAttributes::requestOutlivesItsClient()
{
    m_emulator.injectFault(QUrl(urlOf(Operation::Get)), {{"delayMs", 200}});
    auto requester = QSharedPointer<HttpApiRequester>::create(nullptr);
    std::unique_ptr<UserAttributes> attributes = client(m_jwt, AliceId, requester);
    attributes->get();
    auto *request = requester->findChild<HttpApiRequest *>();
    QVERIFY(request);
    QSignalSpy released(request, &QObject::destroyed);
    attributes.reset();
    QVERIFY(released.wait());
}

void TestUserAttributes::refusal_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("reason");

    // Other statuses and failures read as code 2 with an empty text: the fault matrix checks those.
    for (Operation operation : {Operation::Get, Operation::Update}) {
        const char *name = operation == Operation::Get ? "get" : "update";
        // The emulator's own answer to an expired token.
        QTest::addRow("%s: 403", name) << operation << 403 << 3 << "your auth token is invalid" << "Forbidden";
        QTest::addRow("%s: 422", name) << operation << 422 << 4 << "parameters sent to the server are incorrect."
                                       << "Unprocessable Entity";
        QTest::addRow("%s: 429", name) << operation << 429 << 5 << "too many request" << "Too Many Requests";
    }
}

void TestUserAttributes::refusal()
{
    QFETCH(Operation, operation);
    QFETCH(int, status);
    QFETCH(int, code);
    QFETCH(QString, text);
    QFETCH(QString, reason);

    const QString url = urlOf(operation);
    if (status != 403)
        m_emulator.injectFault(QUrl(url), {{"status", status}, {"body", "{}"}});
    std::unique_ptr<UserAttributes> attributes = client(status == 403 ? m_emulator.token(Alice, QString(), -60) : m_jwt);
    attributes->setKeys({QStringLiteral("title")});
    const QString message = QStringLiteral("%1 Error description: Error transferring %2 - server replied: %3").arg(text, url, reason);
    QTest::ignoreMessage(QtCriticalMsg, qPrintable(QStringLiteral("Error: %1 Http status code: %2").arg(message).arg(status)));

    const std::unique_ptr<QSignalSpy> finished = start(*attributes, operation);
    QVERIFY(finished->wait());
    QCOMPARE(finished->count(), 1);
    QCOMPARE(errorOf(*finished).code, code);
    QCOMPARE(errorOf(*finished).message, message);
    QCOMPARE(attributes->state(), UserAttributes::UA_STATE_NONE);
}

void TestUserAttributes::errorCrossesQueuedConnection()
{
    QCOMPARE(QtCompat::metaTypeId("UserAttributesError"), qMetaTypeId<UserAttributesError>());
    QCOMPARE(QtCompat::metaTypeId("NimblaSDK::UserAttributesError"), qMetaTypeId<UserAttributesError>());
    QCOMPARE(QtCompat::metaTypeId("ValuesMap"), qMetaTypeId<ValuesMap>());

    // Delivered to a receiver on another thread only if the type is registered.
    std::unique_ptr<UserAttributes> attributes = client(m_jwt, QString());
    QThread thread;
    QObject receiver;
    receiver.moveToThread(&thread);
    thread.start();
    QSignalSpy arrived(&thread, &QThread::finished);
    UserAttributesError received;
    connect(attributes.get(), &UserAttributes::getFinished, &receiver, [&](const UserAttributesError &error) {
        received = error;
        thread.quit();
    }, Qt::QueuedConnection);
    attributes->get();
    QVERIFY(arrived.wait());
    QCOMPARE(received.code, 1);
    QCOMPARE(received.message, QStringLiteral("Publisher id is incorrect"));
}

QTEST_GUILESS_MAIN(TestUserAttributes)
#include "tst_userattributes.moc"
