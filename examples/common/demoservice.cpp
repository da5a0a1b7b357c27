#include "demoservice.h"

#include "napplication.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QSettings>

bool DemoService::keepSettingsIn(const QDir &data)
{
    if (!data.mkpath(QStringLiteral(".")))
        return false;
    qputenv("XDG_CONFIG_HOME", data.filePath(QStringLiteral("config")).toLocal8Bit());
    qputenv("XDG_DATA_HOME", data.filePath(QStringLiteral("data")).toLocal8Bit());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, data.filePath(QStringLiteral("config")));
    return true;
}

QString DemoService::earlyOption(int argc, char *argv[], const char *name)
{
    const QByteArray option = QByteArray("--") + name;
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == option && i + 1 < argc)
            return QString::fromLocal8Bit(argv[i + 1]);
        if (argument.startsWith(option + '='))
            return QString::fromLocal8Bit(argument.mid(option.size() + 1));
    }
    return QString();
}

bool DemoService::start(const QString &emulator, const QDir &data)
{
    if (!data.mkpath(QStringLiteral(".")))
        return false;
    return m_emulator.start(emulator, configPath(),
                            {QStringLiteral("--state"), data.filePath(QStringLiteral("emulator-state.json"))})
           && NimblaSDK::NApplication::instance().loadConfiguration(configPath());
}

QString DemoService::configPath() const
{
    return m_workspace.filePath(QStringLiteral("launcher.json"));
}

SignInInput DemoService::platformPlayer()
{
    SignInInput player;
    // Any id will do for the stand-in Steam client and Stone launcher.
    player.appId = QStringLiteral("700100");
    // What the game centre hands the launcher for the emulator's game-centre player.
    player.uid = QStringLiteral("mailru-1001");
    player.ticket = QStringLiteral("mailru-ticket-1001");
    return player;
}

SignInInput DemoService::player()
{
    SignInInput player = platformPlayer();
    player.login = QStringLiteral("alice@example.com");
    player.password = QStringLiteral("alice-password");
    player.jwt = m_emulator.token(player.login);
    player.provider = QStringLiteral("testbook");
    return player;
}

bool DemoService::leaveOtp()
{
    const QString otp = QStringLiteral("demo-otp-%1").arg(QDateTime::currentMSecsSinceEpoch());
    const QJsonObject issued = QJsonDocument::fromJson(m_emulator.send("POST", QStringLiteral("/admin/otp"),
                                                                       {{"otp", otp}, {"outcome", "jwt"}}))
                                       .object();
    if (issued.value(QStringLiteral("otp")).toString() != otp)
        return false;
    QSettings left(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("NIMBLA"),
                   NimblaSDK::NApplication::instance().configManager()->productName() + QStringLiteral("_Launcher"));
    left.setValue(QStringLiteral("otp"), otp);
    left.sync();
    return left.status() == QSettings::NoError;
}
