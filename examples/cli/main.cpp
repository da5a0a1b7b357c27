// Signs a player in against the login-service emulator, through the library's AuthManager, and prints who
// signed in. With --data, the settings and the emulator's state outlive the run, so that a session
// remembered by one run (--remember) is restored by the next (--restore), as across launcher starts.
#include "signindemo.h"

#include "emulatorprocess.h"
#include "napplication.h"
#include "simulatedbrowser.h"

#include <QCommandLineParser>
#include <QDateTime>
#include <QDir>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

namespace {

// Leaves a fresh one-time password where the launcher looks for it, as the launcher's web page would.
bool leaveOtp(EmulatorProcess &emulator)
{
    const QString otp = QStringLiteral("demo-otp-%1").arg(QDateTime::currentMSecsSinceEpoch());
    const QJsonObject issued = QJsonDocument::fromJson(emulator.send("POST", QStringLiteral("/admin/otp"),
                                                                     {{"otp", otp}, {"outcome", "jwt"}}))
                                       .object();
    if (issued.value("otp").toString() != otp)
        return false;
    QSettings left(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("NIMBLA"),
                   NimblaSDK::NApplication::instance().configManager()->productName() + QStringLiteral("_Launcher"));
    left.setValue(QStringLiteral("otp"), otp);
    left.sync();
    return left.status() == QSettings::NoError;
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("nimbla-demo"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Signs the emulator's default player in through NimblaAuth."));
    parser.addHelpOption();
    const QCommandLineOption emulatorOption(QStringLiteral("emulator"),
                                            QStringLiteral("Path of the login-service emulator."),
                                            QStringLiteral("path"));
    const QCommandLineOption methodOption(QStringLiteral("method"),
                                          QStringLiteral("Sign-in method: %1.").arg(SignInDemo::methods().join(", ")),
                                          QStringLiteral("method"), QStringLiteral("jwt"));
    const QCommandLineOption verboseOption(QStringLiteral("verbose"), QStringLiteral("Show the library's progress log."));
    const QCommandLineOption systemBrowserOption(
            QStringLiteral("system-browser"),
            QStringLiteral("Open social sign-ins in the desktop's browser instead of following the redirects here."));
    const QCommandLineOption rememberOption(QStringLiteral("remember"), QStringLiteral("Remember the session."));
    const QCommandLineOption restoreOption(QStringLiteral("restore"),
                                           QStringLiteral("Sign in again from the remembered session."));
    const QCommandLineOption otpOption(QStringLiteral("otp"),
                                       QStringLiteral("Leave a one-time password for the launcher and sign in with it."));
    const QCommandLineOption dataOption(
            QStringLiteral("data"),
            QStringLiteral("Folder for the settings and the emulator's state, kept between runs; default: a throw-away one."),
            QStringLiteral("folder"));
    parser.addOptions({emulatorOption, methodOption, verboseOption, systemBrowserOption, rememberOption, restoreOption,
                       otpOption, dataOption});
    parser.process(app);
    if (!parser.isSet(verboseOption))
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.info=false"));

    const QString method = parser.value(methodOption);
    if (!parser.isSet(emulatorOption) || !SignInDemo::methods().contains(method))
        parser.showHelp(2);

    if (parser.isSet(restoreOption) && parser.isSet(otpOption)) {
        qWarning("--restore and --otp are two ways to start; pick one");
        return 2;
    }

    // Settings, journals and the emulator's state stay in the data folder, or in a throw-away one.
    QTemporaryDir workspace;
    const QDir data(parser.isSet(dataOption) ? parser.value(dataOption) : workspace.path());
    if (!data.mkpath(QStringLiteral(".")))
        return 1;
    qputenv("XDG_CONFIG_HOME", data.filePath(QStringLiteral("config")).toLocal8Bit());
    qputenv("XDG_DATA_HOME", data.filePath(QStringLiteral("data")).toLocal8Bit());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, data.filePath(QStringLiteral("config")));

    EmulatorProcess emulator;
    const QString configPath = workspace.filePath(QStringLiteral("launcher.json"));
    if (!emulator.start(parser.value(emulatorOption), configPath,
                        {QStringLiteral("--state"), data.filePath(QStringLiteral("emulator-state.json"))}))
        return 1;
    NimblaSDK::NApplication::instance().loadConfiguration(configPath);

    SignInDemo::Player player;
    player.login = QStringLiteral("alice@example.com");
    player.password = QStringLiteral("alice-password");
    player.jwt = emulator.token(player.login);
    player.socialProvider = QStringLiteral("testbook");
    player.socialProviderLink = emulator.socialProviderLink(
            NimblaSDK::NApplication::instance().urlsManager()->socialNetworksListUrl(), player.socialProvider);

    // A headless machine has no browser: this one follows the service's redirects back to the library.
    SimulatedBrowser browser;
    if (!parser.isSet(systemBrowserOption))
        browser.install();

    SignInDemo demo;
    QObject::connect(&demo, &SignInDemo::finished, &app, &QCoreApplication::exit);
    QTimer::singleShot(30000, &app, [] {
        qWarning("No answer within 30 seconds");
        QCoreApplication::exit(3);
    });
    // Started from the event loop, so that an outcome known at once still ends it.
    QTimer::singleShot(0, &demo, [&] {
        if (parser.isSet(restoreOption)) {
            demo.restore();
        } else if (parser.isSet(otpOption)) {
            if (!leaveOtp(emulator))
                qWarning("Could not leave a one-time password for the launcher");
            demo.signInWithOtp();
        } else {
            demo.signIn(method, player, parser.isSet(rememberOption));
        }
    });
    return app.exec();
}
