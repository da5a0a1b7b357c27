// One start of a launcher, for the restart test: signs in or restores the
// remembered session with a fresh AuthManager, then prints what happened as
// one JSON line on stdout and exits.
//
//   restarthelper --config FILE --settings DIR --step signin|restore
#include "authmanager.h"
#include "napplication.h"

#include "simulatedbrowser.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTextStream>
#include <QTimer>

using namespace NimblaSDK;

namespace {

constexpr int SignInTimeoutMs = 15000;

// What one sign-in of the current session came to.
struct Outcome
{
    int finished = 0;
    QJsonArray errors;
};

Outcome waitForSession(AuthManager &manager)
{
    Outcome outcome;
    AbstractSession *session = manager.CurrentSession();
    if (!session)
        return outcome;
    QEventLoop loop;
    QObject::connect(session, &AbstractSession::loginFinished, &loop, [&] {
        ++outcome.finished;
        loop.quit();
    });
    QObject::connect(session, &AbstractSession::error, &loop, [&](const QString &text) {
        outcome.errors.append(text);
        loop.quit();
    });
    QTimer::singleShot(SignInTimeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    return outcome;
}

QJsonObject report(AuthManager &manager, const Outcome &outcome)
{
    AbstractSession *session = manager.CurrentSession();
    return {{"finished", outcome.finished}, {"errors", outcome.errors}, {"user", session ? session->userName() : QString()},
            {"autologin", manager.isAutologin()}, {"rememberMe", manager.rememberMe()}};
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption configOption("config", "Library configuration.", "file");
    const QCommandLineOption settingsOption("settings", "Folder of the persistent settings.", "folder");
    const QCommandLineOption stepOption("step", "signin or restore.", "step");
    parser.addOptions({configOption, settingsOption, stepOption});
    parser.process(app);

    // Before the settings are first opened, so that every start shares them.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, parser.value(settingsOption));
    if (!NApplication::instance().loadConfiguration(parser.value(configOption)))
        return 2;

    SimulatedBrowser browser;
    browser.install();
    QJsonObject result;
    {
        AuthManager manager;
        const QString step = parser.value(stepOption);
        if (step == QLatin1String("signin")) {
            manager.setRememberMe(true);
            manager.loginViaSocialNetworkOAuth(QStringLiteral("testbook"));
            result.insert("social", report(manager, waitForSession(manager)));
        } else if (step == QLatin1String("restore")) {
            const bool started = manager.tryAutoLogin();
            result.insert("started", started);
            result.insert("restore", report(manager, started ? waitForSession(manager) : Outcome()));
        } else {
            return 2;
        }
    }
    result.insert("browserOpened", browser.opened().size());
    QTextStream(stdout) << QJsonDocument(result).toJson(QJsonDocument::Compact) << '\n';
    return 0;
}
