// Signs a player in against the login-service emulator, through the library, and prints who signed in.
#include "signindemo.h"

#include "emulatorprocess.h"
#include "napplication.h"
#include "simulatedbrowser.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTimer>

namespace {

// The provider's login page, from the list of providers that the service publishes.
QString socialProviderLink(EmulatorProcess &emulator, const QString &provider)
{
    const QString listUrl = NimblaSDK::NApplication::instance().urlsManager()->socialNetworksListUrl();
    const QJsonObject links = QJsonDocument::fromJson(emulator.send("GET", listUrl)).object().value("socialLinks").toObject();
    for (const QJsonValue &group : links) {
        for (const QJsonValue &entry : group.toArray()) {
            if (entry.toObject().value("name").toString() == provider)
                return entry.toObject().value("url").toString();
        }
    }
    return QString();
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
    parser.addOptions({emulatorOption, methodOption, verboseOption, systemBrowserOption});
    parser.process(app);
    if (!parser.isSet(verboseOption))
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.info=false"));

    const QString method = parser.value(methodOption);
    if (!parser.isSet(emulatorOption) || !SignInDemo::methods().contains(method))
        parser.showHelp(2);

    // Settings and journals of this run stay in a throw-away folder.
    QTemporaryDir workspace;
    qputenv("XDG_CONFIG_HOME", workspace.filePath(QStringLiteral("config")).toLocal8Bit());
    qputenv("XDG_DATA_HOME", workspace.filePath(QStringLiteral("data")).toLocal8Bit());

    EmulatorProcess emulator;
    const QString configPath = workspace.filePath(QStringLiteral("launcher.json"));
    if (!emulator.start(parser.value(emulatorOption), configPath))
        return 1;
    NimblaSDK::NApplication::instance().loadConfiguration(configPath);

    SignInDemo::Player player;
    player.login = QStringLiteral("alice@example.com");
    player.password = QStringLiteral("alice-password");
    player.jwt = emulator.token(player.login);
    player.socialProvider = QStringLiteral("testbook");
    player.socialProviderLink = socialProviderLink(emulator, player.socialProvider);

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
    demo.start(method, player);
    return app.exec();
}
