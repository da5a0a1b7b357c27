// Uses the installed headers only, as a launcher would.
#include <NimblaSDK/Auth/jwt/jwtcodec.h>
#include <NimblaSDK/Auth/sessions/jwtloginsession.h>
#include <NimblaSDK/Core/napplication.h>
#include <napplication.h>

#include <QCoreApplication>
#include <QJsonObject>
#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    NimblaSDK::JwtLoginSession session(nullptr);

    NimblaSDK::JwtCodec codec;
    const bool decoded = codec.decode(QStringLiteral(R"({"alg":"HS256"}.{"username":"alice"}.x)"));
    const QString name = codec.payloadDocument().object().value(QStringLiteral("username")).toString();
    std::printf("consumer: %s decoded %s on Qt %s\n", Launcher::applicationName(), qPrintable(name), qVersion());
    return decoded && NimblaSDK::NApplication::instance().configManager() ? 0 : 1;
}
