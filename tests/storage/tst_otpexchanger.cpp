#include "emulatorsuite.h"

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

using NimblaSDK::HttpApiRequest;
using NimblaSDK::IOtpExchanger;
using NimblaSDK::OtpExchanger;

Q_DECLARE_METATYPE(IOtpExchanger::CredentialType)

namespace {

const QString ExchangePath = QStringLiteral("/projects/nimbla-demo-project/otp/exchange");

struct Exchange
{
    const char *tag;
    QString emulatorOutcome; // empty: the password is unknown to the emulator
    QString expected;
    QStringList keys; // of the value handed on, sorted
    QString warning;
    bool dropped = false; // the emulator drops every connection
    QString otp = {};     // empty: a fresh one
    QString query = {};   // of the request; empty: "otp=" and the password
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
                             outcomes.append(type == IOtpExchanger::JwtToken ? "jwt" : "oauth2");
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

class TestOtpExchanger : public EmulatorSuite
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void outcomes_data();
    void outcomes();
    void overlappingExchangesAnswerIndependently();
    void requestsEndWithTheExchanger();

private:
    void addOtp(const QString &otp, const QString &outcome, int status = 0);
    QUrl exchangeUrl() const { return m_emulator.baseUrl().resolved(QUrl(ExchangePath)); }
};

void TestOtpExchanger::initTestCase()
{
    qRegisterMetaType<IOtpExchanger::CredentialType>();
    QLoggingCategory::setFilterRules(QStringLiteral("NimblaSDK.Auth.OtpExchanger.debug=true"));
    EmulatorSuite::initTestCase();
}

void TestOtpExchanger::addOtp(const QString &otp, const QString &outcome, int status)
{
    QJsonObject body{{"otp", otp}, {"outcome", outcome}};
    if (status)
        body.insert("status", status);
    QVERIFY2(!QJsonDocument::fromJson(m_emulator.adminSend("POST", "/admin/otp", body)).object().isEmpty(),
             qPrintable("the emulator did not store " + otp));
}

void TestOtpExchanger::outcomes_data()
{
    QTest::addColumn<Exchange>("row");
    const QString invalid = QStringLiteral("Invalid response from server.");
    const QString failed = QStringLiteral("Error while exchanging OTP: ");
    const QStringList pair{"access_token", "refresh_token"};
    for (const Exchange &row : {
             Exchange{"jwt", "jwt", "jwt", {"jwt"}, ""},
             Exchange{"oauth2-pair", "oauth2", "oauth2", pair, ""},
             Exchange{"jwt-wins-over-pair", "jwt-and-oauth2", "jwt", {"access_token", "jwt", "refresh_token"}, ""},
             // Failed answers are the fault matrix's; here, the warning of each kind of failure.
             Exchange{"access-token-alone", "access-token-only", "error", {}, invalid},
             Exchange{"unknown-otp", "", "error", {}, failed + "404 : Not Found"},
             // Every attempt is dropped: the network stack retries a GET whose connection closed early.
             Exchange{"connection-dropped", "jwt", "error", {}, failed + "0 : ", true},
             // Sent as typed; only what QUrl must escape to form a valid URL is escaped, and the
             // service decodes that back to the same password.
             Exchange{"query-delimiters", "jwt", "jwt", {"jwt"}, "", false, "a&b=c", "otp=a&b=c"},
             Exchange{"plus-slash-question", "jwt", "jwt", {"jwt"}, "", false, "x+y/z?w", "otp=x+y/z?w"},
             Exchange{"placeholder-like", "jwt", "jwt", {"jwt"}, "", false, "%1%2", "otp=%251%252"},
             Exchange{"space", "jwt", "jwt", {"jwt"}, "", false, "two words", "otp=two%20words"},
         })
        QTest::newRow(row.tag) << row;
}

void TestOtpExchanger::outcomes()
{
    QFETCH(Exchange, row);
    const QString otp = row.otp.isEmpty() ? freshOtp(QString::fromLatin1(row.tag)) : row.otp;
    if (!row.emulatorOutcome.isEmpty())
        addOtp(otp, row.emulatorOutcome);
    if (row.dropped)
        m_emulator.injectFault(exchangeUrl(), {{"drop", true}});

    OtpExchanger exchanger;
    OutcomeRecorder recorder(&exchanger);
    QTest::ignoreMessage(QtDebugMsg, qPrintable("Starting exchange sequence for OTP: " + otp));
    if (!row.warning.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, qPrintable(row.warning));
    exchanger.exchange(otp);

    QTRY_COMPARE(recorder.outcomes.size(), 1);
    QCOMPARE(recorder.outcomes.first(), row.expected);
    // The whole answer is handed on, every field of it.
    QCOMPARE(recorder.values.first().keys(), row.keys);
    if (row.expected == QLatin1String("jwt"))
        QCOMPARE(recorder.values.first().value("jwt").toString().count(QLatin1Char('.')), 2);

    const QJsonArray requests = m_emulator.requests(ExchangePath);
    QVERIFY(!requests.isEmpty());
    QCOMPARE(requests.first()["method"].toString(), QStringLiteral("GET"));
    QCOMPARE(requests.first()["query"].toString(), row.query.isEmpty() ? "otp=" + otp : row.query);
}

void TestOtpExchanger::overlappingExchangesAnswerIndependently()
{
    const QString slow = freshOtp(QStringLiteral("slow"));
    const QString fast = freshOtp(QStringLiteral("fast"));
    const QString failing = freshOtp(QStringLiteral("failing"));
    addOtp(slow, QStringLiteral("oauth2"));
    addOtp(fast, QStringLiteral("jwt"));
    addOtp(failing, QStringLiteral("error"), 502);
    m_emulator.injectFault(exchangeUrl(), {{"delayMs", 800}, {"times", 1}});

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
    QCOMPARE(recorder.outcomes, (QStringList{"error", "jwt", "oauth2"}));
    QVERIFY(recorder.values.at(2).contains("refresh_token"));
    QVERIFY(recorder.values.at(1).contains("jwt"));
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
    const QList<HttpApiRequest *> first = exchanger->findChildren<HttpApiRequest *>();
    QCOMPARE(first.size(), 1);
    QSignalSpy firstDestroyed(first.first(), &QObject::destroyed);
    QVERIFY(firstDestroyed.wait());
    QCOMPARE(recorder.outcomes, QStringList{"jwt"});

    // One still in flight goes with the exchanger, taking its reply along, and says nothing.
    m_emulator.injectFault(exchangeUrl(), {{"delayMs", 1000}, {"times", 1}});
    exchanger->exchange(pending);
    const QList<HttpApiRequest *> second = exchanger->findChildren<HttpApiRequest *>();
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
