#include "cannedreply.h"
#include "emulatorfixture.h"
#include "httpapirequest.h"
#include "httpapirequester.h"
#include "httpsresponder.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "servicereply_p.h"
#include "urlsmanager.h"

#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QThread>
#include <QtTest>

using namespace NimblaSDK;

namespace {

constexpr int Deadline = 800;
// Room for a loaded machine and the sanitizers between the deadline and the check.
constexpr int Margin = 700;

enum class Caller { MainThread, WorkerThread, Requester, MainThreadPost };

struct Outcome
{
    bool ok = false;
    QString errorString;
    QByteArray body;
    qint64 elapsed = 0;
    int networkError = -1; //!< known for plain replies only
    int status = 0;        //!< known for plain replies only
    QString location = {}; //!< known for plain replies only
};

Outcome finishedReply(QNetworkReply *reply, const QElapsedTimer &clock)
{
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    Outcome outcome{reply->error() == QNetworkReply::NoError, reply->errorString(),
                    reply->isOpen() ? reply->readAll() : QByteArray(), clock.elapsed(), reply->error(),
                    reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
                    QString::fromUtf8(reply->rawHeader("Location"))};
    delete reply;
    return outcome;
}

Outcome fetch(Caller caller, const QUrl &url)
{
    QElapsedTimer clock;
    clock.start();
    switch (caller) {
    case Caller::MainThread:
        return finishedReply(NNetworkAccessManager::getManager()->get(QNetworkRequest(url)), clock);
    case Caller::WorkerThread: {
        Outcome outcome;
        QScopedPointer<QThread> worker(QThread::create([&] {
            outcome = finishedReply(NNetworkAccessManager::getManager()->get(QNetworkRequest(url)), clock);
        }));
        worker->start();
        worker->wait();
        return outcome;
    }
    case Caller::MainThreadPost: {
        QNetworkRequest request(url);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        return finishedReply(NNetworkAccessManager::getManager()->post(request, "{}"), clock);
    }
    case Caller::Requester: {
        HttpApiRequester requester(nullptr);
        QScopedPointer<HttpApiRequest> request(requester.get(url));
        QSignalSpy finished(request.data(), &HttpApiRequest::finished);
        finished.wait(30000);
        return {request->noErrors(), request->errorString(), finished.value(0).value(0).toByteArray(),
                clock.elapsed()};
    }
    }
    return {};
}

QJsonObject slowAnswer(int milliseconds, int bytes)
{
    return {{"trickleMs", milliseconds}, {"status", 200}, {"body", QString(bytes, QLatin1Char('x'))}};
}

} // namespace

Q_DECLARE_METATYPE(Caller)

class TestNNetworkAccessManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void deadline_data();
    void deadline();
    void answerWithinDeadlineArrivesWhole();

    void tls_data();
    void tls();
    void cutBody_data();
    void cutBody();

private:
    QUrl faultyUrl() const;

    EmulatorFixture m_emulator;
    HttpsResponder m_responder;
    bool m_responderStarted = false;
};

QUrl TestNNetworkAccessManager::faultyUrl() const
{
    return QUrl(NApplication::instance().urlsManager()->widgetSettingsUrl());
}

void TestNNetworkAccessManager::initTestCase()
{
    QVERIFY(m_emulator.start());
    if (!HttpsResponder::openssl().isEmpty())
        m_responderStarted = m_responder.start(m_emulator.tempPath());
}

void TestNNetworkAccessManager::init()
{
    m_emulator.clearFaults();
    QVERIFY(m_emulator.loadConfig({{"network", QJsonObject{{"requestTimeoutMs", Deadline}}}}));
    // Every case starts without a connection that an earlier one left open, in the manager or in
    // the one it keeps for tolerated GETs.
    QNetworkAccessManager *manager = NNetworkAccessManager::getManager();
    manager->clearConnectionCache();
    for (QNetworkAccessManager *inner : manager->findChildren<QNetworkAccessManager *>())
        inner->clearConnectionCache();
}

void TestNNetworkAccessManager::deadline_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<Caller>("caller");

    const QList<QPair<const char *, QJsonObject>> faults{
        {"silent", {{"delayMs", 10000}, {"status", 200}, {"body", "{}"}}},
        // Never quiet for a whole deadline, and done only long after it.
        {"trickling", slowAnswer(100, 60)},
    };
    const QList<QPair<const char *, Caller>> callers{
        {"main-thread", Caller::MainThread},
        {"worker-thread", Caller::WorkerThread},
        {"requester", Caller::Requester},
    };
    for (const auto &fault : faults) {
        for (const auto &caller : callers)
            QTest::addRow("%s-%s", fault.first, caller.first) << fault.second << caller.second;
    }
}

void TestNNetworkAccessManager::deadline()
{
    QFETCH(QJsonObject, fault);
    QFETCH(Caller, caller);
    m_emulator.injectFault(faultyUrl(), fault);

    const Outcome outcome = fetch(caller, faultyUrl());

    QVERIFY2(outcome.elapsed >= Deadline && outcome.elapsed <= Deadline + Margin,
             qPrintable(QString::number(outcome.elapsed)));
    QVERIFY(!outcome.ok);
    QCOMPARE(outcome.errorString, QStringLiteral("Operation canceled"));
    if (caller != Caller::Requester)
        QCOMPARE(outcome.networkError, int(QNetworkReply::OperationCanceledError));
}

void TestNNetworkAccessManager::answerWithinDeadlineArrivesWhole()
{
    m_emulator.injectFault(faultyUrl(), slowAnswer(40, 10));

    const Outcome outcome = fetch(Caller::MainThread, faultyUrl());

    QVERIFY2(outcome.ok, qPrintable(outcome.errorString));
    QCOMPARE(outcome.body, QByteArray(10, 'x'));
}

// Qt 6 follows redirects by default and Qt 5 does not; the sessions read the
// service's "Location" themselves, so neither may follow it.
void TestNNetworkAccessManager::tls_data()
{
    QTest::addColumn<bool>("strict");
    QTest::addColumn<QStringList>("requests");
    QTest::addColumn<QStringList>("outcomes");
    QTest::addColumn<int>("connections");

    QTest::newRow("strict-get") << true << QStringList{"GET"} << QStringList{"refused"} << 0;
    QTest::newRow("strict-requester-get") << true << QStringList{"requester GET"} << QStringList{"refused"} << 0;
    QTest::newRow("strict-post") << true << QStringList{"POST"} << QStringList{"refused"} << 0;
    QTest::newRow("strict-post-after-get") << true << QStringList{"GET", "POST"} << QStringList{"refused", "refused"}
                                           << 0;
    QTest::newRow("tolerant-get") << false << QStringList{"GET"} << QStringList{"answered"} << 1;
    QTest::newRow("tolerant-requester-get") << false << QStringList{"requester GET"} << QStringList{"answered"} << 1;
    QTest::newRow("tolerant-post") << false << QStringList{"POST"} << QStringList{"refused"} << 0;
    QTest::newRow("tolerant-get-after-post") << false << QStringList{"POST", "GET"}
                                             << QStringList{"refused", "answered"} << 1;
    // Qt keeps the GET's connection open: the POST that follows must not go over it unverified.
    QTest::newRow("tolerant-post-after-get") << false << QStringList{"GET", "POST"}
                                             << QStringList{"answered", "refused"} << 1;
}

void TestNNetworkAccessManager::tls()
{
    QFETCH(bool, strict);
    QFETCH(QStringList, requests);
    QFETCH(QStringList, outcomes);
    QFETCH(int, connections);
    if (HttpsResponder::openssl().isEmpty())
        QSKIP("openssl's command-line tool makes the responder's certificate, and it is not installed");
    QVERIFY(m_responderStarted);

    if (!strict)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^network\\.strictTls is off in .+: TLS errors of GET "
                                                              "requests are ignored"));
    QVERIFY(m_emulator.loadConfig({{"network", QJsonObject{{"strictTls", strict}}}}));
    const int connectionsBefore = m_responder.encryptedConnections();
    const int answersBefore = m_responder.answeredRequests();
    const int protocolsBefore = m_responder.negotiatedProtocols().size();
    const QUrl url = m_responder.url(QStringLiteral("/api"));

    const QMap<QString, Caller> callers{
            {"GET", Caller::MainThread}, {"requester GET", Caller::Requester}, {"POST", Caller::MainThreadPost}};
    QStringList seen;
    for (const QString &method : requests) {
        const Outcome outcome = fetch(callers.value(method), url);
        if (outcome.ok)
            QCOMPARE(outcome.body, QByteArray(HttpsResponder::Body));
        seen << (outcome.ok ? QStringLiteral("answered")
                 : outcome.errorString.startsWith(QLatin1String("SSL handshake failed")) ? QStringLiteral("refused")
                                                                                        : outcome.errorString);
    }

    QCOMPARE(seen, outcomes);
    QCOMPARE(m_responder.encryptedConnections() - connectionsBefore, connections);
    QCOMPARE(m_responder.answeredRequests() - answersBefore, int(outcomes.count(QStringLiteral("answered"))));
    // Qt 6 would agree on HTTP/2 with a service that offers it, Qt 5 never: the requests keep to HTTP/1.1 on both.
    const QStringList protocols = m_responder.negotiatedProtocols().mid(protocolsBefore);
    QVERIFY2(!protocols.contains(QStringLiteral("h2")), qPrintable(protocols.join(QLatin1Char(','))));
}

void TestNNetworkAccessManager::cutBody_data()
{
    QTest::addColumn<QByteArray>("contentLength");
    QTest::addColumn<QByteArray>("contentEncoding");
    QTest::addColumn<bool>("complete");

    // The body is 15 bytes long.
    QTest::newRow("no-length") << QByteArray() << QByteArray() << true;
    QTest::newRow("whole") << QByteArray("15") << QByteArray() << true;
    QTest::newRow("a-third") << QByteArray("45") << QByteArray() << false;
    QTest::newRow("one-byte-short") << QByteArray("16") << QByteArray() << false;
    // Qt hands on the inflated body; the length counted the bytes on the wire.
    QTest::newRow("compressed") << QByteArray("45") << QByteArray("gzip") << true;
}

void TestNNetworkAccessManager::cutBody()
{
    QFETCH(QByteArray, contentLength);
    QFETCH(QByteArray, contentEncoding);
    QFETCH(bool, complete);
    const QByteArray body = R"({"valid": true})";
    CannedReply::Headers headers;
    if (!contentLength.isEmpty())
        headers.append({"Content-Length", contentLength});
    if (!contentEncoding.isEmpty())
        headers.append({"Content-Encoding", contentEncoding});

    // Qt finished these replies without an error: whoever reads one must see the cut all the same.
    CannedReply bare(200, headers, body);
    QCOMPARE(NNetworkAccessManager::isComplete(&bare, body), complete);

    auto *requested = new CannedReply(200, headers, body);
    HttpApiRequest request(requested);
    QSignalSpy finished(&request, &HttpApiRequest::finished);
    Q_EMIT requested->finished();
    QCOMPARE(finished.count(), 1);
    QCOMPARE(request.noErrors(), complete);
    QCOMPARE(finished.at(0).at(0).toByteArray(), complete ? body : QByteArray());
    QCOMPARE(request.errorString(), complete ? QStringLiteral("Unknown error") : QStringLiteral("Connection closed"));

    CannedReply read(200, headers, body);
    const ServiceReply answer(&read);
    QCOMPARE(answer.outcome(), complete ? ServiceReply::Answered : ServiceReply::NetworkError);
    QCOMPARE(answer.answer().value("valid").toBool(), complete);
    QCOMPARE(answer.transient(), !complete);
}

QTEST_GUILESS_MAIN(TestNNetworkAccessManager)
#include "tst_nnetworkaccessmanager.moc"
