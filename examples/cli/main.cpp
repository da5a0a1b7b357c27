// nimbla-auth: signs a player in through the library's AuthManager, for scripts and QA, against any
// configuration (--config FILE or NIMBLA_CONFIG) or against a private login-service emulator
// (--emulator PATH). With --data, the settings and the emulator's state outlive the run, so that a
// session remembered by one run (login --remember) is restored by the next (restore), as across
// launcher starts.
//
// Exit codes: 0 signed in, 1 refused by the service, 2 bad usage or configuration, 3 the service
// could not be reached or timed out; one line on standard error says why.
#include "authclient.h"
#include "demoservice.h"
#include "signinmethod.h"
#include "terminal.h"

#include "napplication.h"
#include "simulatedbrowser.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <algorithm>

namespace {

const char Commands[] = "Commands:\n"
                        "  login --method M [--login L] [--provider P] [--app-id ID] [--remember] [--password-stdin]\n"
                        "        [--uid U --ticket T] [--email E] [--attributes]\n"
                        "                sign in; the password (or, for jwt, the token) is read from the\n"
                        "                terminal without echo, or from standard input with --password-stdin\n"
                        "  restore       sign in again from the remembered session\n"
                        "  whoami        print the identity of the remembered session\n"
                        "  token         print the remembered session's current JWT, and nothing else\n"
                        "  logout        forget the remembered session and the saved account\n"
                        "  providers     list the social providers\n"
                        "Without a command: login with --method (default jwt), --restore or --otp.";

int usage(const QString &why)
{
    QTextStream(stderr) << QCoreApplication::applicationName() << ": " << why << Qt::endl;
    return AuthClient::BadUsage;
}

QString methodList()
{
    QStringList lines;
    for (const SignInMethod &method : SignInMethod::all())
        lines << QStringLiteral("%1 (%2)").arg(QLatin1String(method.name), QLatin1String(method.title));
    return lines.join(QStringLiteral(", "));
}

} // namespace

int main(int argc, char *argv[])
{
    // The social sign-ins open a browser through the desktop; nothing is shown.
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "minimal" : qgetenv("QT_QPA_PLATFORM"));
    // Only the one line that says why reaches standard error, unless the log is asked for; decided
    // before the application object, whose platform set-up has warnings of its own.
    if (std::none_of(argv + 1, argv + argc, [](const char *argument) { return qstrcmp(argument, "--verbose") == 0; }))
        QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    QCoreApplication::setApplicationName(QStringLiteral("nimbla-auth"));
    // Settings (and the emulator's state) in the data folder, or a throw-away one with the emulator.
    // Their environment is set before the application object exists, as a launcher's must be.
    QTemporaryDir workspace;
    QString dataFolder = DemoService::earlyOption(argc, argv, "data");
    if (dataFolder.isEmpty() && !DemoService::earlyOption(argc, argv, "emulator").isEmpty())
        dataFolder = workspace.path();
    const bool settingsKept = dataFolder.isEmpty() || DemoService::keepSettingsIn(QDir(dataFolder));
    QGuiApplication app(argc, argv);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Signs a player in through NimblaAuth.\n") + Commands);
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("command"),
                                 QStringLiteral("login, restore, whoami, token, logout or providers."));
    const QCommandLineOption configOption(QStringLiteral("config"), QStringLiteral("The library's configuration file."),
                                          QStringLiteral("file"));
    const QCommandLineOption emulatorOption(QStringLiteral("emulator"),
                                            QStringLiteral("Start this login-service emulator and sign in against it."),
                                            QStringLiteral("path"));
    const QCommandLineOption dataOption(
            QStringLiteral("data"),
            QStringLiteral("Folder for the settings (and the emulator's state), kept between runs; default: the "
                           "user's settings, or a throw-away folder with --emulator."),
            QStringLiteral("folder"));
    const QCommandLineOption methodOption(QStringLiteral("method"), QStringLiteral("Sign-in method: %1.").arg(methodList()),
                                          QStringLiteral("method"));
    const QCommandLineOption loginOption(QStringLiteral("login"), QStringLiteral("The player's login."),
                                         QStringLiteral("login"));
    const QCommandLineOption providerOption(QStringLiteral("provider"),
                                            QStringLiteral("The social provider; default: the first one."),
                                            QStringLiteral("title"));
    const QCommandLineOption appIdOption(
            QStringLiteral("app-id"),
            QStringLiteral("The game's id at the platform, for steam, steam-oauth and stone; default with "
                           "--emulator: the stand-ins'."),
            QStringLiteral("id"));
    const QCommandLineOption uidOption(QStringLiteral("uid"),
                                       QStringLiteral("For mailru: the user id the game centre handed the launcher."),
                                       QStringLiteral("id"));
    const QCommandLineOption ticketOption(QStringLiteral("ticket"),
                                          QStringLiteral("For mailru: the ticket the game centre handed the launcher."),
                                          QStringLiteral("ticket"));
    const QCommandLineOption emailOption(
            QStringLiteral("email"),
            QStringLiteral("For steam, steam-oauth and stone: the e-mail address to give an account that has none, "
                           "where the product needs one; then the method signs in again."),
            QStringLiteral("address"));
    const QCommandLineOption attributesOption(
            QStringLiteral("attributes"),
            QStringLiteral("After the sign-in, write an attribute of the player and read it back."));
    const QCommandLineOption rememberOption(QStringLiteral("remember"), QStringLiteral("Remember the session."));
    const QCommandLineOption passwordStdinOption(QStringLiteral("password-stdin"),
                                                 QStringLiteral("Read the password from standard input."));
    const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Print results as JSON."));
    const QCommandLineOption timeoutOption(QStringLiteral("timeout"),
                                           QStringLiteral("Seconds to wait for the service; default 90."),
                                           QStringLiteral("seconds"), QStringLiteral("90"));
    const QCommandLineOption verboseOption(QStringLiteral("verbose"), QStringLiteral("Show the library's log."));
    const QCommandLineOption systemBrowserOption(
            QStringLiteral("system-browser"),
            QStringLiteral("With --emulator, open social sign-ins in the desktop's browser instead of following the "
                           "redirects here."));
    const QCommandLineOption followRedirectsOption(
            QStringLiteral("follow-redirects"),
            QStringLiteral("Follow a social sign-in's redirects here instead of opening the desktop's browser, as "
                           "--emulator does (for QA on a headless machine)."));
    const QCommandLineOption restoreOption(QStringLiteral("restore"), QStringLiteral("The same as the restore command."));
    const QCommandLineOption otpOption(
            QStringLiteral("otp"),
            QStringLiteral("The same as login --method otp; with --emulator, a fresh one-time password is left first."));
    parser.addOptions({configOption, emulatorOption, dataOption, methodOption, loginOption, providerOption,
                       appIdOption, uidOption, ticketOption, emailOption, attributesOption, rememberOption, passwordStdinOption, jsonOption, timeoutOption, verboseOption,
                       systemBrowserOption, followRedirectsOption, restoreOption, otpOption});
    if (!parser.parse(QCoreApplication::arguments()))
        return usage(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp(0);

    // The old demo's options stand for the commands.
    const QStringList positional = parser.positionalArguments();
    QString command = positional.value(0);
    if (positional.size() > 1)
        return usage(QStringLiteral("one command at a time"));
    if (parser.isSet(restoreOption) && parser.isSet(otpOption))
        return usage(QStringLiteral("--restore and --otp are two ways to start; pick one"));
    if (command.isEmpty())
        command = parser.isSet(restoreOption) ? QStringLiteral("restore") : QStringLiteral("login");
    QString methodName;
    if (parser.isSet(otpOption))
        methodName = QStringLiteral("otp");
    else if (command == QLatin1String("restore") || command == QLatin1String("whoami") || command == QLatin1String("token"))
        methodName = QStringLiteral("restore");
    else if (parser.isSet(methodOption))
        methodName = parser.value(methodOption);
    else if (positional.isEmpty())
        methodName = QStringLiteral("jwt"); // the demo's default
    static const QStringList known{"login", "restore", "whoami", "token", "logout", "providers"};
    if (!known.contains(command))
        return usage(QStringLiteral("unknown command \"%1\"; see --help").arg(command));
    const SignInMethod *method = SignInMethod::find(methodName);
    const QString methods = SignInMethod::names().join(QStringLiteral(", "));
    if (command == QLatin1String("login") && methodName.isEmpty())
        return usage(QStringLiteral("login needs --method; one of: %1").arg(methods));
    if (command == QLatin1String("login") && !method)
        return usage(QStringLiteral("unknown method \"%1\"; one of: %2").arg(methodName, methods));
    bool timeoutValid = false;
    const int timeoutSeconds = parser.value(timeoutOption).toInt(&timeoutValid);
    if (!timeoutValid || timeoutSeconds <= 0)
        return usage(QStringLiteral("--timeout takes a number of seconds"));

    if (!settingsKept)
        return usage(QStringLiteral("cannot use the data folder %1").arg(dataFolder));

    DemoService service;
    SignInInput input;
    const bool emulated = parser.isSet(emulatorOption);
    if (emulated) {
        if (!service.start(parser.value(emulatorOption), QDir(dataFolder)))
            return usage(QStringLiteral("the emulator %1 did not start").arg(parser.value(emulatorOption)));
        // Without --login, the emulator's own player signs in, with nothing to type.
        if (!parser.isSet(loginOption))
            input = service.player();
        if (methodName == QLatin1String("otp") && !service.leaveOtp())
            return usage(QStringLiteral("could not leave a one-time password for the launcher"));
    } else {
        const QString config = parser.isSet(configOption) ? parser.value(configOption)
                                                          : qEnvironmentVariable("NIMBLA_CONFIG");
        if (config.isEmpty())
            return usage(QStringLiteral("no configuration: give --config FILE, NIMBLA_CONFIG or --emulator PATH"));
        if (!NimblaSDK::NApplication::instance().loadConfiguration(config))
            return usage(QStringLiteral("cannot load the configuration %1").arg(config));
    }

    if (parser.isSet(loginOption))
        input.login = parser.value(loginOption);
    if (parser.isSet(providerOption))
        input.provider = parser.value(providerOption);
    if (parser.isSet(appIdOption))
        input.appId = parser.value(appIdOption);
    if (parser.isSet(uidOption))
        input.uid = parser.value(uidOption);
    if (parser.isSet(ticketOption))
        input.ticket = parser.value(ticketOption);
    // What the method needs typed, unless the emulator's player brings it.
    QString *secret = nullptr;
    if (command == QLatin1String("login") && method->asksForPassword() && input.password.isEmpty())
        secret = &input.password;
    else if (command == QLatin1String("login") && method->kind == SignInMethod::Token && input.jwt.isEmpty())
        secret = &input.jwt;
    if (secret) {
        const bool token = secret == &input.jwt;
        if (!token && input.login.isEmpty())
            return usage(QStringLiteral("%1 needs --login").arg(methodName));
        if (parser.isSet(passwordStdinOption))
            *secret = QTextStream(stdin).readLine();
        else if (Terminal::isInteractive())
            *secret = Terminal::readHidden(token ? QStringLiteral("Token: ") : QStringLiteral("Password: "));
        else
            return usage(QStringLiteral("no terminal to read the password from; use --password-stdin"));
        if (secret->isEmpty())
            return usage(token ? QStringLiteral("no token was given") : QStringLiteral("no password was given"));
    }

    // A headless machine has no browser: this one follows the service's redirects back to the library.
    SimulatedBrowser browser;
    if ((emulated && !parser.isSet(systemBrowserOption)) || parser.isSet(followRedirectsOption))
        browser.install();

    AuthClient client(parser.isSet(jsonOption), timeoutSeconds * 1000);
    client.setAttributesCheck(parser.isSet(attributesOption));
    client.setEmail(parser.value(emailOption));
    QObject::connect(&client, &AuthClient::finished, &app, &QCoreApplication::exit);
    // Started from the event loop, so that an outcome known at once still ends it.
    QTimer::singleShot(0, &client, [&] {
        if (command == QLatin1String("logout"))
            client.logout();
        else if (command == QLatin1String("providers"))
            client.listProviders();
        else
            client.signIn(*method, input, parser.isSet(rememberOption),
                          command == QLatin1String("token") ? AuthClient::Result::Token : AuthClient::Result::Identity);
    });
    return app.exec();
}
