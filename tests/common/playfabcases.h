#pragma once

#include "abstractsession.h"
#include "emulatorfixture.h"
#include "libraryreports.h"
#include "napplication.h"
#include "transcript.h"

#include <QtTest>

#include <functional>
#include <memory>

/*
 * The failures of the two steps that every PlayFab sign-in takes, the login at
 * PlayFab and the launcher service's cross-auth, for any PlayFab session: what
 * the player is told, the log lines and the error report, in order.
 */
namespace PlayfabCases {

const QString Unknown = QStringLiteral("Unknown or expired session ticket");

//! How a PlayFab session tells its failures.
struct Kind
{
    const char *category;
    const char *loginUrlKey;
    QString loginRefused, crossAuthFailed, redirectRefused; //!< the titles of its error reports
    bool crossAuthReportFirst;                              //!< the report before error()
    QJsonObject config;                                     //!< the suite's configuration
};

enum class Step { Login, CrossAuth, Redirect };

struct Failure
{
    Step step;          //!< the step whose failure it is
    bool faultOnLogin;  //!< or on the cross-auth; no fault: the login at another title
    QJsonObject fault;
    QString error;      //!< a regular expression
};

inline QString configuredUrl(const char *key)
{
    return NimblaSDK::NApplication::instance().configManager()->urls().value(QLatin1String(key)).toString();
}

inline void exchangeFailures_data()
{
    QTest::addColumn<Failure>("row");
    const auto playfabAnswer = [](int status, const QJsonObject &body) {
        return QJsonObject{{"status", status}, {"body", QString::fromUtf8(QJsonDocument(body).toJson())}};
    };
    const QJsonObject serverError{{"status", 500}, {"body", "down"}, {"contentType", "text/plain"}};
    const QString networkError = "Error transferring http://\\S+ - server replied: Internal Server Error";
    // The fields in ascending order, whatever order PlayFab wrote them in.
    QTest::newRow("invalid-params")
            << Failure{Step::Login, true,
                       playfabAnswer(400, {{"code", 400}, {"status", "BadRequest"}, {"error", "InvalidParams"},
                                           {"errorCode", 1000}, {"errorMessage", "Invalid input parameters"},
                                           {"errorDetails", QJsonObject{{"TitleId", QJsonArray{"TitleId is required."}},
                                                                        {"Email", QJsonArray{"Email is required.", "Or else."}}}}}),
                       QRegularExpression::escape("Invalid input parameters\n\n Email: \nEmail is required.\nOr else."
                                                  "\n\n TitleId: \nTitleId is required.")};
    QTest::newRow("unknown-title") << Failure{Step::Login, true, {}, "Invalid title id 127"};
    // Not PlayFab's answer: the network's words, rather than an empty message.
    QTest::newRow("playfab-down") << Failure{Step::Login, true, serverError, networkError};
    QTest::newRow("forged-ticket")
            << Failure{Step::Redirect, true,
                       playfabAnswer(200, {{"code", 200}, {"status", "OK"},
                                           {"data", QJsonObject{{"SessionTicket", "forged"}, {"PlayFabId", "9E6600000000000D"}}}}),
                       Unknown};
    // No "data": the cross-auth is asked with nothing, and refuses.
    QTest::newRow("answer-without-data") << Failure{Step::Redirect, true, {{"status", 200}, {"body", "{\"code\": 200, \"status\": \"OK\"}"}}, Unknown};
    QTest::newRow("cross-auth-down") << Failure{Step::CrossAuth, false, serverError, networkError};
    // A redirect that carries neither "token" nor "error": an empty text.
    QTest::newRow("redirect-without-token") << Failure{Step::Redirect, false, {{"status", 302}, {"body", ""}}, ""};
}

inline void exchangeFailures(EmulatorFixture &emulator, const Kind &kind, const std::function<NimblaSDK::AbstractSession *()> &newSession)
{
    QFETCH(Failure, row);
    if (row.fault.isEmpty()) {
        // The same emulator under its dotted-quad name: title "127".
        QJsonObject config = kind.config;
        config.insert("urls", QJsonObject{{kind.loginUrlKey, configuredUrl(kind.loginUrlKey).replace("0x7F.0.0.1", "127.0.0.1")}});
        QVERIFY(emulator.loadConfig(config));
    } else {
        const char *key = row.faultOnLogin ? kind.loginUrlKey : "playfabCrossAuthUrl";
        emulator.injectFault(QUrl(configuredUrl(key).section('?', 0, 0)), row.fault);
    }

    NimblaSDK::SDKSettings *settings = NimblaSDK::NApplication::instance().settingsManager();
    settings->setPlayfabId("earlier-id");
    settings->setPlayfabToken("earlier-ticket");

    Transcript transcript({kind.category, "NimblaSDK.Core.ErrorLogger"});
    std::unique_ptr<NimblaSDK::AbstractSession> session(newSession());
    QObject::connect(session.get(), &NimblaSDK::AbstractSession::error, [&](const QString &text) { transcript.add("error: " + text); });
    QObject::connect(session.get(), &NimblaSDK::AbstractSession::loginFinished, [&] { transcript.add("loginFinished"); });
    QSignalSpy failed(session.get(), &NimblaSDK::AbstractSession::error);
    session->tryLogin();
    QTRY_COMPARE(failed.count(), 1);

    const QString error = failed.at(0).at(0).toString();
    QVERIFY2(QRegularExpression("^" + row.error + "$").match(error).hasMatch(), qPrintable(error));
    const QString report = "warning: [authorization] %1 - " + error.section('\n', 0, 0);
    QStringList expected;
    if (row.step == Step::Login)
        expected = QStringList{"critical: Playfab login failed: " + error.section('\n', 0, 0), "critical: Reply: {",
                               report.arg(kind.loginRefused), "error: " + error};
    else if (row.step == Step::Redirect)
        expected = QStringList{"critical: Auth: Redirect request failed!", "critical: Reply: " + error, "error: " + error,
                               report.arg(kind.redirectRefused)};
    else
        expected = QStringList{"critical: Msg: " + error, "critical: Auth: Request failed!", "error: " + error, report.arg(kind.crossAuthFailed)};
    if (row.step == Step::CrossAuth && kind.crossAuthReportFirst)
        expected.swapItemsAt(2, 3);
    QStringList entries = transcript.entries();
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [](const QString &entry) { return entry.startsWith("info: ") || entry.startsWith("debug: "); }),
                  entries.end());
    QCOMPARE(entries, expected);
    QVERIFY(LibraryReports::trackedEvents().isEmpty());
    const QJsonArray crossAuth = emulator.requests(QUrl(configuredUrl("playfabCrossAuthUrl")).path());
    QCOMPARE(crossAuth.size(), row.step == Step::Login ? 0 : 1);
    if (crossAuth.isEmpty()) {
        QCOMPARE(settings->playfabId() + ' ' + settings->playfabToken(), QStringLiteral("earlier-id earlier-ticket"));
        return;
    }
    // The cross-auth is asked with what the login gave; the ticket replaces the earlier one
    // even when empty, the PlayFab id only when there is one.
    const QUrlQuery sent(crossAuth.first().toObject().value("query").toString());
    QCOMPARE(settings->playfabToken(), sent.queryItemValue("session_ticket", QUrl::FullyDecoded));
    QCOMPARE(settings->playfabId(), sent.queryItemValue("playfab_id").isEmpty() ? QStringLiteral("earlier-id") : sent.queryItemValue("playfab_id"));
}

} // namespace PlayfabCases

Q_DECLARE_METATYPE(PlayfabCases::Failure)
