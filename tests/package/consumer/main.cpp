// Uses the installed headers only, as a launcher would.
#include <NimblaSDK/Auth/authmanager.h>
#include <NimblaSDK/Auth/jwt/jwtcodec.h>
#include <NimblaSDK/Auth/sessions/jwtloginsession.h>
#include <NimblaSDK/Core/napplication.h>
#include <napplication.h>

#include <QCoreApplication>
#include <QJsonObject>
#include <QQmlComponent>
#include <QQmlEngine>
#include <cstdio>
#include <memory>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    NimblaSDK::JwtLoginSession session(nullptr);

    NimblaSDK::JwtCodec codec;
    const bool decoded = codec.decode(QStringLiteral(R"({"alg":"HS256"}.{"username":"alice"}.x)"));
    const QString name = codec.payloadDocument().object().value(QStringLiteral("username")).toString();

    // The installed QML module, found in the QML import path.
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import NimblaSDK.Auth 1.0\nAuthManager {}", QUrl());
    const std::unique_ptr<QObject> manager(component.create());
    if (!qobject_cast<NimblaSDK::AuthManager *>(manager.get())) {
        std::printf("consumer: %s\n", qPrintable(component.errorString()));
        return 1;
    }
    std::printf("consumer: %s decoded %s on Qt %s and made an AuthManager in QML.\n", Launcher::applicationName(),
                qPrintable(name), qVersion());
    return decoded && NimblaSDK::NApplication::instance().configManager() ? 0 : 1;
}
