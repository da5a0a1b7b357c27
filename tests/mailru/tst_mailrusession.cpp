#include "sessions/mailrusession.h"

#include "authmanager.h"
#include "emulatorfixture.h"
#include "libraryreports.h"
#include "napplication.h"
#include "nnetworkaccessmanager.h"
#include "transcript.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QtTest>

using namespace NimblaSDK;

namespace {

const QStringList Categories{QStringLiteral("logCatMailRuAuth"), QStringLiteral("NimblaSDK.Core.ErrorLogger")};

enum class Step { None, Login, Landing };

struct SignIn
{
    const char *tag;
    QString uid;
    QString ticked;
    Step failing;         //!< the request that fails, if any
    QString errorPattern; //!< the reply's error text, as a regular expression
    QString userName;     //!< the identity the session ends with
};

QString mailruLoginUrl()
{
    return NApplication::instance().urlsManager()->mailruLoginUrl();
}

QString landingPath()
{
    return QUrl(mailruLoginUrl()).path().replace(QLatin1String("/login"), QLatin1String("/landing"));
}

// What the session logs, reports and emits, in order, for a run that ends as \a row says.
QStringList expectedTranscript(const SignIn &row, const QString &address, const QString &errorText)
{
    QStringList lines{"info: Start auth.", "info: url: " + address, "info: Auth: Request finished!"};
    if (row.failing == Step::Login)
        return lines + QStringList{"critical: Msg: " + errorText, "critical: Auth: Request failed!",
                                   "error: " + errorText,
                                   "warning: [authorization] MailRu: Request failed - " + errorText};
    // A redirect has no body.
    lines << "info: Auth: Request finished!"
          << "info: Reply: ";
    if (row.failing == Step::Landing)
        return lines + QStringList{"critical: Msg: " + errorText, "critical: Auth: Redirect request failed!",
                                   "critical: Reply: " + errorText, "error: " + errorText,
                                   "warning: [authorization] MailRu: Redirect request failed - " + errorText};
    return lines + QStringList{"info: Auth: Redirect request finished", "debug: <!DOCTYPE html>",
                               "info: Auth success", "loginFinished"};
}

} // namespace

Q_DECLARE_METATYPE(SignIn)

class TestMailRuSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void signIn_data();
    void signIn();
    void sessionGoneBeforeTheAnswer();

private:
    EmulatorFixture m_emulator;
};

void TestMailRuSession::initTestCase()
{
    qRegisterMetaType<QNetworkReply *>();
    QVERIFY(m_emulator.start());
}

void TestMailRuSession::init()
{
    QVERIFY(m_emulator.loadConfig());
    m_emulator.clearFaults();
    m_emulator.clearRequests();
    LibraryReports::clearJournals();
}

void TestMailRuSession::signIn_data()
{
    QTest::addColumn<SignIn>("row");
    const QList<SignIn> rows{
        {"ordinary", "mailru-1001", "mailru-ticket-1001", Step::None, {}, "ivan"},
        // The identity came with the redirect, yet the sign-in fails with its target.
        {"landing-fails", "mailru-1004", "mailru-ticket-1004", Step::Landing,
         "^Error transferring \\S+/mailru/landing\\?uid=mailru-1004&token=\\S+ - server replied: Service Unavailable$",
         "lena"},
        // The empty token is turned down without a word, and the target still decides.
        {"redirect-without-token", "mailru-1003", "mailru-ticket-1003", Step::None, {}, {}},
        // Qt's own words for a 401 without a way to authenticate.
        {"wrong-ticket", "mailru-1001", "not-the-ticket", Step::Login, "^Host requires authentication$", {}},
        {"empty-uid-and-ticked", "", "", Step::Login, "^Host requires authentication$", {}},
    };
    for (const SignIn &row : rows)
        QTest::newRow(row.tag) << row;
}

void TestMailRuSession::signIn()
{
    QFETCH(SignIn, row);

    Transcript transcript(Categories);
    AuthManager manager;
    manager.loginViaMail(row.uid, row.ticked);
    auto *session = qobject_cast<MailRuSession *>(manager.CurrentSession());
    QVERIFY(session);
    QCOMPARE(session->parent(), &manager);
    QString errorText;
    connect(session, &AbstractSession::error, this, [&](const QString &text) {
        errorText = text;
        transcript.add("error: " + text);
    });
    connect(session, &AbstractSession::loginFinished, this, [&] { transcript.add(QStringLiteral("loginFinished")); });
    QSignalSpy finished(session, &AbstractSession::loginFinished);
    QSignalSpy failed(session, &AbstractSession::error);
    QTRY_COMPARE(finished.count() + failed.count(), 1);

    if (row.failing != Step::None)
        QVERIFY2(QRegularExpression(row.errorPattern).match(errorText).hasMatch(), qPrintable(errorText));
    const QString address = mailruLoginUrl().arg(row.uid, row.ticked);
    QCOMPARE(transcript.entries(), expectedTranscript(row, address, errorText));
    QCOMPARE(session->userName(), row.userName);
    QCOMPARE(session->jwt().isEmpty(), row.userName.isEmpty());
    QCOMPARE(session->externalUserId(), row.userName.isEmpty() ? QString() : row.uid);

    // The values go into the address as they are, empty ones too.
    const QJsonArray logins = m_emulator.requests(QUrl(mailruLoginUrl()).path());
    QCOMPARE(logins.size(), 1);
    QCOMPARE(logins.first().toObject().value("query").toString(),
             QStringLiteral("uid=%1&ticket=%2").arg(row.uid, row.ticked));
    QCOMPARE(m_emulator.requests(landingPath()).size(), row.failing == Step::Login ? 0 : 1);
}

void TestMailRuSession::sessionGoneBeforeTheAnswer()
{
    m_emulator.injectFault(QUrl(mailruLoginUrl()), {{"delayMs", 300}});
    QSignalSpy answered(NNetworkAccessManager::getManager(), &QNetworkAccessManager::finished);
    auto *session = new MailRuSession(nullptr);
    session->setUid(QStringLiteral("mailru-1001"));
    session->setTicked(QStringLiteral("mailru-ticket-1001"));
    session->tryLogin();
    delete session;

    // The answer still comes, to no one: the redirect target is never asked for.
    QVERIFY(answered.wait());
    QCoreApplication::processEvents();
    for (const QNetworkReply *reply : NNetworkAccessManager::getManager()->findChildren<QNetworkReply *>())
        QVERIFY(reply->url().path() != landingPath());
    QCOMPARE(m_emulator.requests(landingPath()).size(), 0);
}

QTEST_GUILESS_MAIN(TestMailRuSession)
#include "tst_mailrusession.moc"
