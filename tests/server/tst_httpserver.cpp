#include "server/handlerfactory.h"
#include "server/handleroauthfactory.h"
#include "server/httpserver.h"

#include "emulatorfixture.h"
#include "napplication.h"
#include "rawhttpclient.h"

#include <QNetworkAccessManager>
#include <QNetworkInterface>
#include <QNetworkReply>
#include <QPointer>
#include <QTcpSocket>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <vector>

using namespace NimblaSDK;

namespace {

enum class Protocol { Jwt, OAuth };
enum class Outcome { Silent, Success, Error };
enum class Ending { Stop, Restart, Destroy };

// Lets a test hold the factory of the listener it started and watch it go.
class WatchedFactory : public HandlerFactory
{
public:
    WatchedFactory() { latest = this; }

    static QPointer<WatchedFactory> latest;
};

QPointer<WatchedFactory> WatchedFactory::latest;

struct Exchange
{
    Protocol protocol;
    QByteArray target;
    int status;        // 0: the connection ends without an answer
    Outcome outcome;
    QString data;
    QString csrfToken;
};

std::unique_ptr<IHttpServer> makeServer(Protocol protocol)
{
    if (protocol == Protocol::Jwt)
        return std::make_unique<HttpServer<HandlerFactory>>(nullptr);
    return std::make_unique<HttpServer<HandlerOAuthFactory>>(nullptr);
}

// Starts the server, pinning its log line; returns the port it reports.
quint16 startServer(IHttpServer &server)
{
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("^Starting local server on port: [1-9]\\d*$")));
    server.start();
    return quint16(server.port());
}

void stopServer(IHttpServer &server)
{
    QTest::ignoreMessage(QtInfoMsg, "Shutting down local server");
    server.stop();
}

// A listener that is gone must not even accept a connection that nobody would serve.
bool refusesConnections(quint16 port, const QHostAddress &address = QHostAddress::LocalHost)
{
    QTcpSocket probe;
    probe.connectToHost(address, port);
    return !probe.waitForConnected(5000) && probe.error() == QAbstractSocket::ConnectionRefusedError;
}

using Results = QList<QPair<QString, QString>>;

// Records what a session would receive, and whether it was emitted on the main thread:
// a direct connection runs where the signal is emitted, which a queued one would hide.
struct Receiver
{
    explicit Receiver(IHttpServer *server)
    {
        const auto onMain = [] { return QThread::currentThread() == QCoreApplication::instance()->thread(); };
        QObject::connect(server, &IHttpServer::callbackSuccess, server, [=](const QString &data, const QString &csrf) {
            successes.append({data, csrf});
            allOnMainThread &= onMain();
        }, Qt::DirectConnection);
        QObject::connect(server, &IHttpServer::callbackError, server, [=] {
            ++errors;
            allOnMainThread &= onMain();
        }, Qt::DirectConnection);
    }

    int count() const { return successes.size() + errors; }

    Results successes;
    int errors = 0;
    bool allOnMainThread = true;
};

// Delivers the queued calls that are already waiting.
void deliverQueuedResults()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

QByteArray callbackQuery(Protocol protocol, const QString &token)
{
    return protocol == Protocol::Jwt ? "/?token=" + token.toUtf8() : QByteArray("/?code=C-1&state=S-1");
}

QPair<QString, QString> callbackResult(Protocol protocol, const QString &token)
{
    if (protocol == Protocol::Jwt)
        return {token, QString()};
    return {QStringLiteral("C-1"), QStringLiteral("S-1")};
}

} // namespace

Q_DECLARE_METATYPE(Protocol)
Q_DECLARE_METATYPE(Ending)
Q_DECLARE_METATYPE(Exchange)

class TestHttpServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void lifecycle_data() { addProtocolRows(); }
    void lifecycle();
    void resultsInFlightAreDropped_data();
    void resultsInFlightAreDropped();
    void listenersInQuickSuccessionAreEachServed();
    void listensOnLoopbackOnly();

    void wireProtocol_data();
    void wireProtocol();
    void junkDoesNotBlockAGenuineCallback_data() { addProtocolRows(); }
    void junkDoesNotBlockAGenuineCallback();

private:
    static void addProtocolRows();

    EmulatorFixture m_emulator;
    QString m_token;
    // Never stopped: the process must still end cleanly with a listener running.
    std::unique_ptr<IHttpServer> m_leftRunning;
};

void TestHttpServer::addProtocolRows()
{
    QTest::addColumn<Protocol>("protocol");
    QTest::newRow("jwt") << Protocol::Jwt;
    QTest::newRow("oauth") << Protocol::OAuth;
}

void TestHttpServer::initTestCase()
{
    QVERIFY(m_emulator.start());
    m_token = m_emulator.token(QStringLiteral("alice@example.com"));
    QCOMPARE(m_token.count(QLatin1Char('.')), 2);
    m_leftRunning = makeServer(Protocol::OAuth);
    startServer(*m_leftRunning);
}

void TestHttpServer::init()
{
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    QVERIFY(m_emulator.loadConfig());
}

void TestHttpServer::lifecycle()
{
    QFETCH(Protocol, protocol);
    const auto server = makeServer(protocol);
    Receiver receiver(server.get());
    const QPair<QString, QString> result = callbackResult(protocol, m_token);
    QTest::ignoreMessage(QtInfoMsg, "Can't stop local server. Server does not started");
    server->stop();
    QCOMPARE(server->port(), 0);

    const quint16 port = startServer(*server);
    QTest::ignoreMessage(QtInfoMsg, "Can't start local server. It's already started on port " + QByteArray::number(port));
    server->start();
    QCOMPARE(server->port(), int(port));
    // Still the first listener, with its factory still reporting.
    QCOMPARE(RawHttpClient::get(port, callbackQuery(protocol, m_token)).status, 302);
    QTRY_COMPARE(receiver.successes, Results{result});

    stopServer(*server);
    QTest::ignoreMessage(QtInfoMsg, "Can't stop local server. Server does not started");
    server->stop();
    QCOMPARE(server->port(), int(port));
    QVERIFY(refusesConnections(port));
}

void TestHttpServer::resultsInFlightAreDropped_data()
{
    QTest::addColumn<Ending>("ending");
    QTest::newRow("stopped") << Ending::Stop;
    QTest::newRow("restarted") << Ending::Restart;
    QTest::newRow("destroyed") << Ending::Destroy;
}

void TestHttpServer::resultsInFlightAreDropped()
{
    QFETCH(Ending, ending);
    const QUrl validation(NApplication::instance().urlsManager()->validateJWTUrl());
    m_emulator.injectFault(validation, {{"delayMs", 1500}, {"times", 1}});
    auto server = std::make_unique<HttpServer<WatchedFactory>>(nullptr);
    Receiver receiver(server.get());
    const quint16 oldPort = startServer(*server);
    const QPointer<WatchedFactory> oldFactory = WatchedFactory::latest;
    QVERIFY(oldFactory);
    QSignalSpy destroyed(oldFactory.data(), &QObject::destroyed);
    bool destroyedOnMainThread = false;
    connect(oldFactory.data(), &QObject::destroyed, [&destroyedOnMainThread] {
        destroyedOnMainThread = QThread::currentThread() == QCoreApplication::instance()->thread();
    });

    QTcpSocket browser;
    browser.connectToHost(QHostAddress::LocalHost, oldPort);
    QVERIFY(browser.waitForConnected(5000));
    browser.write("GET /?token=" + m_token.toUtf8() + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
    QTRY_COMPARE(m_emulator.requests(validation.path()).size(), 1);

    if (ending == Ending::Destroy) {
        server.reset();
    } else {
        stopServer(*server);
        if (ending == Ending::Restart)
            startServer(*server);
    }
    QVERIFY(refusesConnections(oldPort));
    QVERIFY2(oldFactory, "the request in flight still holds its factory");

    // The old handler finishes its validation now, and reports into its own factory only,
    // which then goes on the thread it belongs to.
    QVERIFY(destroyed.wait(10000));
    QVERIFY(destroyedOnMainThread);
    deliverQueuedResults();
    QCOMPARE(receiver.count(), 0);

    if (ending == Ending::Restart) {
        QCOMPARE(RawHttpClient::get(quint16(server->port()), "/?token=" + m_token.toUtf8()).status, 302);
        QTRY_COMPARE(receiver.successes, (Results{{m_token, QString()}}));
    }
}

void TestHttpServer::listenersInQuickSuccessionAreEachServed()
{
    // More listeners than a thread pool has threads, each gone before the
    // shutdown of the one before it is over.
    const auto server = makeServer(Protocol::Jwt);
    for (int attempt = 0; attempt < 40; ++attempt) {
        const quint16 port = startServer(*server);
        QCOMPARE(RawHttpClient::get(port, "/favicon.ico").status, 404);
        stopServer(*server);
    }
}

void TestHttpServer::listensOnLoopbackOnly()
{
    const QList<QHostAddress> addresses = QNetworkInterface::allAddresses();
    const auto outside = std::find_if(addresses.cbegin(), addresses.cend(), [](const QHostAddress &address) {
        return !address.isLoopback() && address.protocol() == QAbstractSocket::IPv4Protocol;
    });
    if (outside == addresses.cend())
        QSKIP("This machine has no address but the loopback one");
    const auto server = makeServer(Protocol::OAuth);
    const quint16 port = startServer(*server);
    // The browser that brings the callback runs on this machine; nobody else may reach the port.
    QVERIFY(refusesConnections(port, *outside));
    stopServer(*server);
}

void TestHttpServer::wireProtocol_data()
{
    QTest::addColumn<Exchange>("row");
    const auto row = [](const char *tag, Protocol protocol, const QByteArray &target, int status, Outcome outcome,
                        const QString &data = QString(), const QString &csrfToken = QString()) {
        QTest::newRow(tag) << Exchange{protocol, target, status, outcome, data, csrfToken};
    };
    const QByteArray token = m_token.toUtf8();
    const QByteArray encodedToken = QByteArray(token).replace('.', "%2E");
    const Protocol jwt = Protocol::Jwt;
    const Protocol oauth = Protocol::OAuth;

    row("jwt/valid-token", jwt, "/?token=" + token, 302, Outcome::Success, m_token);
    row("jwt/percent-encoded-token", jwt, "/?token=" + encodedToken, 302, Outcome::Success, m_token);
    row("jwt/first-token-wins", jwt, "/?token=" + token + "&token=forged", 302, Outcome::Success, m_token);
    row("jwt/first-token-wins-even-if-invalid", jwt, "/?token=forged&token=" + token, 0, Outcome::Error);
    row("jwt/invalid-token", jwt, "/?token=not.a.token", 0, Outcome::Error);
    row("jwt/no-query", jwt, "/", 0, Outcome::Silent);
    row("jwt/oauth-parameters", jwt, "/?code=C&state=S", 0, Outcome::Silent);
    row("jwt/name-is-case-sensitive", jwt, "/?Token=" + token, 0, Outcome::Silent);
    row("jwt/callback-path", jwt, "/callback?token=" + token, 404, Outcome::Silent);

    row("oauth/code-and-state", oauth, "/?code=C&state=S", 302, Outcome::Success, "C", "S");
    row("oauth/first-code-wins", oauth, "/?state=S&code=C&code=D", 302, Outcome::Success, "C", "S");
    row("oauth/first-state-wins", oauth, "/?code=C&state=S&state=T", 302, Outcome::Success, "C", "S");
    row("oauth/percent-decoded", oauth, "/?code=a%2Eb%26c&state=x%3Dy%20z", 302, Outcome::Success, "a.b&c", "x=y z");
    row("oauth/present-but-empty", oauth, "/?code=&state=", 302, Outcome::Success, "", "");
    row("oauth/code-only", oauth, "/?code=C", 0, Outcome::Error);
    row("oauth/state-only", oauth, "/?state=S", 0, Outcome::Error);
    row("oauth/no-query", oauth, "/", 0, Outcome::Error);
    row("oauth/name-is-case-sensitive", oauth, "/?Code=C&state=S", 0, Outcome::Error);
    row("oauth/callback-path", oauth, "/callback?code=C&state=S", 404, Outcome::Silent);
}

void TestHttpServer::wireProtocol()
{
    QFETCH(Exchange, row);
    const auto server = makeServer(row.protocol);
    Receiver receiver(server.get());
    const quint16 port = startServer(*server);

    const RawHttpClient::Answer answer = RawHttpClient::get(port, row.target);
    QVERIFY2(answer.ended, answer.bytes.constData());
    // The client waited without running the event loop, so nothing may have arrived yet.
    QCOMPARE(receiver.count(), 0);

    QCOMPARE(answer.status, row.status);
    const QMap<int, QByteArray> statusLines{{302, "HTTP/1.1 302 Found"}, {404, "HTTP/1.1 404 Not Found"}};
    QCOMPARE(answer.statusLine, statusLines.value(row.status));
    QCOMPARE(answer.headers.value("location"),
             row.status == 302 ? NApplication::instance().configManager()->callbackUrl().toUtf8() : QByteArray());
    QCOMPARE(answer.body, row.status == 404 ? QByteArray("Not Found Url") : QByteArray());
    // No answer at all, or the bare 404, and the connection ends with either.
    QVERIFY(row.status == 302 || answer.closed);
    QVERIFY(row.status != 0 || answer.bytes.isEmpty());
    QVERIFY(row.status != 404 || !(answer.headers.contains("content-type") || answer.headers.contains("content-length")));

    if (row.outcome == Outcome::Silent)
        deliverQueuedResults();
    else
        QTRY_COMPARE(receiver.count(), 1);
    QCOMPARE(receiver.successes, row.outcome == Outcome::Success ? Results{qMakePair(row.data, row.csrfToken)} : Results());
    QCOMPARE(receiver.errors, row.outcome == Outcome::Error ? 1 : 0);
    QVERIFY(receiver.allOnMainThread);
}

void TestHttpServer::junkDoesNotBlockAGenuineCallback()
{
    QFETCH(Protocol, protocol);
    const auto server = makeServer(protocol);
    Receiver receiver(server.get());
    const quint16 port = startServer(*server);

    std::vector<std::unique_ptr<QTcpSocket>> sockets;
    const auto send = [&](const QByteArray &bytes) {
        sockets.push_back(std::make_unique<QTcpSocket>());
        sockets.back()->connectToHost(QHostAddress::LocalHost, port);
        sockets.back()->write(bytes);
    };
    // Each with the number of OAuth2 callback errors it makes.
    const QByteArray end = " HTTP/1.1\r\nHost: localhost\r\n\r\n";
    const std::vector<std::pair<QByteArray, int>> kinds = {
        {"GET /favicon.ico" + end, 0}, {"GET /callback?token=" + m_token.toUtf8() + end, 0},
        {"GET /" + end, 1},            {"GET /?TOKEN=abc" + end, 1},
        {"GET /?code=only" + end, 1},  {"GET /%zz" + end, 0},
        {"GET /?token=%zz&code=%zz" + end, 0}, {"GARBAGE\r\n\r\n", 0},
    };
    int expectedOAuthErrors = 0;
    for (int copy = 0; copy < 4; ++copy) {
        for (const auto &junk : kinds) {
            send(junk.first);
            expectedOAuthErrors += junk.second;
        }
    }
    const size_t burst = sockets.size();
    // Clients that hold their connection without finishing a request.
    for (const QByteArray &partial : {QByteArray(), QByteArray("GET /?token="), QByteArray("GET / HTTP/1.1\r\nHost: x\r\n")})
        send(partial);

    QNetworkAccessManager client;
    QNetworkRequest request(QUrl("http://localhost:" + QString::number(port) + callbackQuery(protocol, m_token)));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    std::unique_ptr<QNetworkReply> reply(client.get(request));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);

    QTRY_COMPARE_WITH_TIMEOUT(receiver.successes, Results{callbackResult(protocol, m_token)}, 10000);
    QTRY_COMPARE(finished.count(), 1);
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 302);

    // Every junk request was answered or dropped, and none of them was taken for a result.
    for (size_t i = 0; i < burst; ++i)
        QTRY_COMPARE_WITH_TIMEOUT(sockets[i]->state(), QAbstractSocket::UnconnectedState, 10000);
    deliverQueuedResults();
    QCOMPARE(receiver.successes.size(), 1);
    QCOMPARE(receiver.errors, protocol == Protocol::OAuth ? expectedOAuthErrors : 0);
    QVERIFY(receiver.allOnMainThread);
}

QTEST_GUILESS_MAIN(TestHttpServer)
#include "tst_httpserver.moc"
