// The demo launcher: a Qt Quick sign-in screen on top of NimblaAuth. It signs in against a private
// login-service emulator by default, or against the service of a configuration file
// (--config FILE, or NIMBLA_CONFIG).
#include "demoservice.h"
#include "othersigninmethods.h"

#include "napplication.h"
#include "qtcompat_p.h"
#include "translator.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QLocale>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QStandardPaths>
#include <QTranslator>

int main(int argc, char *argv[])
{
    NimblaSDK::QtCompat::enableHighDpiScaling();
    NimblaSDK::QtCompat::usePlainControlsStyle();
    QCoreApplication::setApplicationName(QStringLiteral("nimbla-launcher"));
    // Against the emulator, the settings live beside its state. Their environment is set before the
    // application object exists, as a launcher's must be.
    const QString defaultData = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)
                                + QStringLiteral("/emulator");
    QString config = DemoService::earlyOption(argc, argv, "config");
    if (config.isEmpty())
        config = qEnvironmentVariable("NIMBLA_CONFIG");
    QString data = DemoService::earlyOption(argc, argv, "data");
    if (data.isEmpty())
        data = defaultData;
    const bool settingsKept = !config.isEmpty() || DemoService::keepSettingsIn(QDir(data));
    QGuiApplication app(argc, argv);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("A sign-in screen on top of NimblaAuth."));
    parser.addHelpOption();
    const QCommandLineOption configOption(QStringLiteral("config"),
                                          QStringLiteral("Sign in against the service of this configuration file."),
                                          QStringLiteral("file"));
    const QCommandLineOption emulatorOption(QStringLiteral("emulator"), QStringLiteral("The login-service emulator."),
                                            QStringLiteral("path"), QStringLiteral(NIMBLA_EMULATOR_PATH));
    const QCommandLineOption dataOption(
            QStringLiteral("data"), QStringLiteral("Folder for the emulator's state and the launcher's settings."),
            QStringLiteral("folder"), defaultData);
    const QCommandLineOption appIdOption(
            QStringLiteral("app-id"),
            QStringLiteral("The game's id at the platform, for the Steam and Stone sign-ins; default with the "
                           "emulator: the stand-ins'."),
            QStringLiteral("id"));
    const QCommandLineOption uidOption(QStringLiteral("uid"),
                                       QStringLiteral("The user id the Mail.Ru game centre started the launcher with."),
                                       QStringLiteral("id"));
    const QCommandLineOption ticketOption(QStringLiteral("ticket"),
                                          QStringLiteral("The ticket the Mail.Ru game centre started the launcher with."),
                                          QStringLiteral("ticket"));
    parser.addOptions({configOption, emulatorOption, dataOption, appIdOption, uidOption, ticketOption});
    parser.process(app);

    // The library's texts and the launcher's own in the player's language.
    NimblaSDK::installTranslator();
    QTranslator launcherTexts;
    if (launcherTexts.load(QLocale(), QStringLiteral("nimbla-launcher"), QStringLiteral("_"),
                           QStringLiteral(":/launcher/translations")))
        QCoreApplication::installTranslator(&launcherTexts);

    DemoService emulator;
    if (!config.isEmpty()) {
        if (!NimblaSDK::NApplication::instance().loadConfiguration(config))
            return 2;
    } else if (!settingsKept || !emulator.start(parser.value(emulatorOption), QDir(data))) {
        return 2;
    }

    // The emulator's game-centre and platform players, unless the command line names others.
    SignInInput platform = config.isEmpty() ? emulator.player() : SignInInput();
    if (parser.isSet(appIdOption))
        platform.appId = parser.value(appIdOption);
    if (parser.isSet(uidOption))
        platform.uid = parser.value(uidOption);
    if (parser.isSet(ticketOption))
        platform.ticket = parser.value(ticketOption);
    OtherSignInMethods otherMethods(platform);
    QQmlApplicationEngine engine;
    // The QML module as built beside the demo; installed, it is in Qt's own import path.
    engine.addImportPath(QStringLiteral(NIMBLA_QML_BUILD_DIR));
    engine.rootContext()->setContextProperty(QStringLiteral("otherMethods"), &otherMethods);
    engine.load(QUrl(QStringLiteral("qrc:/launcher/main.qml")));
    if (engine.rootObjects().isEmpty())
        return 2;
    return app.exec();
}
