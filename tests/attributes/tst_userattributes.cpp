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

void run(UserAttributes &attributes, Operation operation)
{
    if (operation == Operation::Get)
        attributes.get();
    else
        attributes.update();
}

// The client's signals in order, as "state <n>" and "getFinished <code>" or "updateFinished <code>".
class Outcomes : public QObject
{
public:
    explicit Outcomes(UserAttributes &attributes)
    {
        connect(&attributes, &UserAttributes::stateChanged, this,
                [this](UserAttributes::State state) { order << QStringLiteral("state %1").arg(state); });
        connect(&attributes, &UserAttributes::getFinished, this, [this](const UserAttributesError &e) { add("get", e); });
        connect(&attributes, &UserAttributes::updateFinished, this, [this](const UserAttributesError &e) { add("update", e); });
    }

    bool wait() { return QTest::qWaitFor([this] { return !errors.isEmpty(); }); }

    QStringList order;
    QList<UserAttributesError> errors;

private:
    void add(const char *operation, const UserAttributesError &error)
    {
        order << QStringLiteral("%1Finished %2").arg(QLatin1String(operation)).arg(error.code);
        errors << error;
    }
};

//! Runs \a operation to its outcome; the code of its error, -1 if none came.
int finish(UserAttributes &attributes, Operation operation)
{
    Outcomes outcomes(attributes);
    run(attributes, operation);
    return outcomes.wait() ? outcomes.errors.first().code : -1;
}

//! The name of the outcome signal of \a operation.
QString finished(Operation operation)
{
    return QLatin1String(operation == Operation::Get ? "getFinished" : "updateFinished");
}

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestUserAttributes : public EmulatorSuite
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void localCheckSendsNothing_data();
    void localCheckSendsNothing();
    void requestBody_data();
    void requestBody();
    void getReturnsWhatUpdateWrote();
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
    Outcomes outcomes(*attributes);

    // At once, and without a state change.
    run(*attributes, operation);
    QCOMPARE(outcomes.order, QStringList{finished(operation) + " 1"});
    QCOMPARE(outcomes.errors.first().message, QStringLiteral("Publisher id is incorrect"));

    // A request that passes the check goes out after it, so the log shows whether the first one did.
    attributes->setPublisherID(7);
    attributes->setUserID(AliceId);
    QCOMPARE(finish(*attributes, operation), 0);
    QCOMPARE(m_emulator.requests(QUrl(urlOf(operation)).path()).size(), 1);
}

void TestUserAttributes::requestBody_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<int>("publisherId");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QJsonObject>("body");

    const QStringList keys{"title", "level", "title", "Level"};
    QTest::newRow("get") << Operation::Get << 7 << keys
                         << QJsonObject{{"keys", QJsonArray{"title", "level", "Level"}},
                                        {"publisher_project_id", 7},
                                        {"user_id", AliceId}};
    QTest::newRow("get: publisher 0, no keys")
            << Operation::Get << 0 << QStringList()
            << QJsonObject{{"keys", QJsonArray()}, {"publisher_project_id", 0}, {"user_id", AliceId}};
    // A key without a value goes out as "", always with the "public" permission.
    const auto attribute = [](const char *key, const QString &value) {
        return QJsonObject{{"key", key}, {"permission", "public"}, {"value", value}};
    };
    QTest::newRow("update") << Operation::Update << 7 << keys
                            << QJsonObject{{"attributes", QJsonArray{attribute("title", "Knight \"of\" Ünï"),
                                                                     attribute("level", ""), attribute("Level", "")}},
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
    // setKeys() replaces what was there; setKey() adds a key once, telling case apart.
    attributes->setKeys({QStringLiteral("replaced")});
    attributes->setKeys({});
    for (const QString &key : keys)
        attributes->setKey(key);
    attributes->setValue(QStringLiteral("title"), QStringLiteral("Knight \"of\" Ünï"));
    Outcomes outcomes(*attributes);
    run(*attributes, operation);
    QCOMPARE(attributes->state(), UserAttributes::UA_STATE_IN_PROGRESS);
    QVERIFY(outcomes.wait());
    QCOMPARE(outcomes.order, (QStringList{"state 1", finished(operation) + " 0", "state 0"}));

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
    QCOMPARE(finish(*writer, Operation::Update), 0);

    std::unique_ptr<UserAttributes> reader = client(session.jwt(), session.userId());
    reader->setKeys({"motto", "title", "empty", "never"});
    reader->setValue("never", "kept locally");
    QCOMPARE(finish(*reader, Operation::Get), 0);
    QCOMPARE(reader->value("title"), QStringLiteral("Knight"));
    QCOMPARE(reader->value("motto"), QStringLiteral("Ünïcode & \"quotes\""));
    QCOMPARE(reader->value("empty"), QString());
    // The answer leaves out what was never written; the local value stays.
    QCOMPARE(reader->value("never"), QStringLiteral("kept locally"));

    // Public attributes are there for any signed-in player to read.
    std::unique_ptr<UserAttributes> other = client(m_jwt, session.userId());
    other->setKeys({"title"});
    QCOMPARE(finish(*other, Operation::Get), 0);
    QCOMPARE(other->value("title"), QStringLiteral("Knight"));
}

void TestUserAttributes::overlappingCallsEachSend()
{
    // The first answer is held back, so the second one arrives first.
    m_emulator.injectFault(QUrl(urlOf(Operation::Get)), {{"delayMs", 300}, {"times", 1}});
    std::unique_ptr<UserAttributes> attributes = client(m_jwt);
    Outcomes outcomes(*attributes);
    attributes->get();
    attributes->get();
    // In progress from the first call to the first answer.
    QTRY_COMPARE(outcomes.order, (QStringList{"state 1", "getFinished 0", "state 0", "getFinished 0"}));
    QCOMPARE(m_emulator.requests(QUrl(urlOf(Operation::Get)).path()).size(), 2);
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
    const QString message =
            QStringLiteral("%1 Error description: Error transferring %2 - server replied: %3").arg(text, url, reason);
    QTest::ignoreMessage(QtCriticalMsg, qPrintable(QStringLiteral("Error: %1 Http status code: %2").arg(message).arg(status)));

    Outcomes outcomes(*attributes);
    run(*attributes, operation);
    // Idle again before the outcome is told.
    QVERIFY(outcomes.wait());
    QCOMPARE(outcomes.order, (QStringList{"state 1", "state 0", finished(operation) + QStringLiteral(" %1").arg(code)}));
    QCOMPARE(outcomes.errors.first().message, message);
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
