#include "emulatorfixture.h"

#include "httpapirequest.h"
#include "httpapirequester.h"
#include "napplication.h"
#include "storage/otpexchanger.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

using NimblaSDK::IOtpExchanger;
using NimblaSDK::OtpExchanger;

Q_DECLARE_METATYPE(IOtpExchanger::CredentialType)

namespace {

const QString ExchangePath = QStringLiteral("/projects/nimbla-demo-project/otp/exchange");

struct Exchange
{
    const char *tag;
    QString emulatorOutcome; // empty: the password is unknown to the emulator
    int status;
    QString expected;
    QStringList keys;        // of the value handed on, sorted
    QString warning;
    bool dropped;            // the emulator drops every connection
};

QString freshOtp(const QString &purpose)
{
    return purpose + QLatin1Char('-') + QUuid::createUuid().toString(QUuid::Id128).left(12);
}

// Both outcomes in arrival order, so that order and exclusivity are checked together.
class OutcomeRecorder
{
public:
    explicit OutcomeRecorder(IOtpExchanger *exchanger)
    {
        QObject::connect(exchanger, &IOtpExchanger::exchanged, exchanger,
                         [this](IOtpExchanger::CredentialType type, const QJsonObject &value) {
                             outcomes.append(type == IOtpExchanger::JwtToken ? QStringLiteral("jwt")
                                                                             : QStringLiteral("oauth2"));
                             values.append(value);
                         });
        QObject::connect(exchanger, &IOtpExchanger::error, exchanger, [this] {
            outcomes.append(QStringLiteral("error"));
            values.append(QJsonObject());
        });
    }

    QStringList outcomes;
    QList<QJsonObject> values;
};

} // namespace

Q_DECLARE_METATYPE(Exchange)

class TestOtpExchanger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void outcomes_data();
    void outcomes();
    void overlappingExchangesAnswerIndependently();
    void passwordGoesIntoTheUrlUnchanged_data();
    void passwordGoesIntoTheUrlUnchanged();
    void requestsEndWithTheExchanger();

private:
    void addOtp(const QString &otp, const QString &outcome, int status = 0);

    EmulatorFixture m_emulator;
};

void TestOtpExchanger::initTestCase()
{
    qRegisterMetaType<IOtpExchanger::CredentialType>();
    QVERIFY(m_emulator.start());
    QLoggingCategory::setFilterRules(QStringLiteral("NimblaSDK.Auth.OtpExchanger.debug=true"));
}

void TestOtpExchanger::init()
{
    m_emulator.clearFaults();
    m_emulator.clearRequests();
}

void TestOtpExchanger::addOtp(const QString &otp, const QString &outcome, int status)
{
    QJsonObject body{{QStringLiteral("otp"), otp}, {QStringLiteral("outcome"), outcome}};
    if (status)
        body.insert(QStringLiteral("status"), status);
    const QJsonObject stored = QJsonDocument::fromJson(m_emulator.adminSend("POST", QStringLiteral("/admin/otp"), body))
                                   .object();
    QVERIFY2(!stored.isEmpty(), qPrintable(QStringLiteral("the emulator did not store %1").arg(otp)));
}

void TestOtpExchanger::outcomes_data()
{
    QTest::addColumn<Exchange>("row");
    const QString invalid = QStringLiteral("Invalid response from server.");
    const QString failed = QStringLiteral("Error while exchanging OTP: ");
    const QStringList pair{QStringLiteral("access_token"), QStringLiteral("refresh_token")};
    for (const Exchange &row : {
             Exchange{"jwt", "jwt", 0, "jwt", {"jwt"}, "", false},
             Exchange{"oauth2-pair", "oauth2", 0, "oauth2", pair, "", false},
             Exchange{"jwt-wins-over-pair", "jwt-and-oauth2", 0, "jwt", {"access_token", "jwt", "refresh_token"}, "", false},
             Exchange{"access-token-alone", "access-token-only", 0, "error", {}, invalid, false},
             Exchange{"not-json", "not-json", 0, "error", {}, invalid, false},
             Exchange{"server-error", "error", 500, "error", {}, failed + "500 : Internal Server Error", false},
             Exchange{"forbidden", "error", 403, "error", {}, failed + "403 : Forbidden", false},
             Exchange{"unknown-otp", "", 0, "error", {}, failed + "404 : Not Found", false},
             // Every attempt is dropped: the network stack retries a GET whose connection closed early.
             Exchange{"connection-dropped", "jwt", 0, "error", {}, failed + "0 : ", true},
         })
        QTest::newRow(row.tag) << row;
}

void TestOtpExchanger::outcomes()
{
    QFETCH(Exchange, row);
    const QString otp = freshOtp(QString::fromLatin1(row.tag));
    if (!row.emulatorOutcome.isEmpty())
        addOtp(otp, row.emulatorOutcome, row.status);
    if (row.dropped)
        m_emulator.injectFault(m_emulator.baseUrl().resolved(QUrl(ExchangePath)), {{QStringLiteral("drop"), true}});

    OtpExchanger exchanger;
    OutcomeRecorder recorder(&exchanger);
    QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("Starting exchange sequence for OTP: ") + otp));
    if (!row.warning.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, qPrintable(row.warning));
    exchanger.exchange(otp);

    QTRY_COMPARE(recorder.outcomes.size(), 1);
    QCOMPARE(recorder.outcomes.first(), row.expected);
    // The whole answer is handed on, every field of it.
    QCOMPARE(recorder.values.first().keys(), row.keys);
    if (row.expected == QLatin1String("jwt"))
        QCOMPARE(recorder.values.first().value(QStringLiteral("jwt")).toString().count(QLatin1Char('.')), 2);

    const QJsonArray requests = m_emulator.requests(ExchangePath);
    QVERIFY(!requests.isEmpty());
    QCOMPARE(requests.first().toObject().value(QStringLiteral("method")).toString(), QStringLiteral("GET"));
}

void TestOtpExchanger::overlappingExchangesAnswerIndependently()
{
    const QString slow = freshOtp(QStringLiteral("slow"));
    const QString fast = freshOtp(QStringLiteral("fast"));
    const QString failing = freshOtp(QStringLiteral("failing"));
    addOtp(slow, QStringLiteral("oauth2"));
    addOtp(fast, QStringLiteral("jwt"));
    addOtp(failing, QStringLiteral("error"), 502);
    m_emulator.injectFault(m_emulator.baseUrl().resolved(QUrl(ExchangePath)),
                           QJsonObject{{QStringLiteral("delayMs"), 800}, {QStringLiteral("times"), 1}});

    OtpExchanger exchanger;
    OutcomeRecorder recorder(&exchanger);
    exchanger.exchange(slow);
    // The slow one has reached the emulator, and with it the one delay, before the others leave.
    QTRY_COMPARE(m_emulator.requests(ExchangePath).size(), 1);
    QTest::ignoreMessage(QtWarningMsg, "Error while exchanging OTP: 502 : Bad Gateway");
    exchanger.exchange(failing);
    QTRY_COMPARE(recorder.outcomes.size(), 1);
    exchanger.exchange(fast);

    QTRY_COMPARE(recorder.outcomes.size(), 3);
    QCOMPARE(recorder.outcomes, (QStringList{QStringLiteral("error"), QStringLiteral("jwt"), QStringLiteral("oauth2")}));
    QVERIFY(recorder.values.at(2).contains(QStringLiteral("refresh_token")));
    QVERIFY(recorder.values.at(1).contains(QStringLiteral("jwt")));
}

void TestOtpExchanger::passwordGoesIntoTheUrlUnchanged_data()
{
    QTest::addColumn<QString>("otp");
    QTest::addColumn<QString>("expectedQuery");

    // Sent as typed; only what QUrl must escape to form a valid URL is escaped, and the
    // service decodes that back to the same password.
    QTest::newRow("query-delimiters") << "a&b=c" << "otp=a&b=c";
    QTest::newRow("plus-slash-question") << "x+y/z?w" << "otp=x+y/z?w";
    QTest::newRow("placeholder-like") << "%1%2" << "otp=%251%252";
    QTest::newRow("space") << "two words" << "otp=two%20words";
}

void TestOtpExchanger::passwordGoesIntoTheUrlUnchanged()
{
    QFETCH(QString, otp);
    QFETCH(QString, expectedQuery);
    addOtp(otp, QStringLiteral("jwt"));

    OtpExchanger exchanger;
    OutcomeRecorder recorder(&exchanger);
    exchanger.exchange(otp);
    QTRY_COMPARE(recorder.outcomes.size(), 1);

    const QJsonArray requests = m_emulator.requests(ExchangePath);
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.first().toObject().value(QStringLiteral("query")).toString(), expectedQuery);
    QCOMPARE(recorder.outcomes.first(), QStringLiteral("jwt"));
}

void TestOtpExchanger::requestsEndWithTheExchanger()
{
    const QString finished = freshOtp(QStringLiteral("finished"));
    const QString pending = freshOtp(QStringLiteral("pending"));
    addOtp(finished, QStringLiteral("jwt"));
    addOtp(pending, QStringLiteral("jwt"));

    auto *exchanger = new OtpExchanger;
    OutcomeRecorder recorder(exchanger);
    auto *requester = exchanger->findChild<NimblaSDK::HttpApiRequester *>();
    QVERIFY(requester);

    // A finished request is released once its outcome is out.
    exchanger->exchange(finished);
    const QList<NimblaSDK::HttpApiRequest *> first = exchanger->findChildren<NimblaSDK::HttpApiRequest *>();
    QCOMPARE(first.size(), 1);
    QSignalSpy firstDestroyed(first.first(), &QObject::destroyed);
    QVERIFY(firstDestroyed.wait());
    QCOMPARE(recorder.outcomes, QStringList{QStringLiteral("jwt")});

    // One still in flight goes with the exchanger, taking its reply along, and says nothing.
    m_emulator.injectFault(m_emulator.baseUrl().resolved(QUrl(ExchangePath)),
                           QJsonObject{{QStringLiteral("delayMs"), 1000}, {QStringLiteral("times"), 1}});
    exchanger->exchange(pending);
    const QList<NimblaSDK::HttpApiRequest *> second = exchanger->findChildren<NimblaSDK::HttpApiRequest *>();
    QCOMPARE(second.size(), 1);
    QSignalSpy secondDestroyed(second.first(), &QObject::destroyed);
    QSignalSpy requesterDestroyed(requester, &QObject::destroyed);
    delete exchanger;
    QCOMPARE(secondDestroyed.count(), 1);
    QCOMPARE(requesterDestroyed.count(), 1);
    QCOMPARE(recorder.outcomes.size(), 1);
}

QTEST_GUILESS_MAIN(TestOtpExchanger)

#include "tst_otpexchanger.moc"
