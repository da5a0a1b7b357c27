#include "configmanager.h"

#include "corelogging_p.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QReadLocker>
#include <QWriteLocker>

namespace NimblaSDK {

namespace {

int positiveInt(const QJsonValue &value, int fallback)
{
    const int number = value.toInt(0);
    return number > 0 ? number : fallback;
}

} // namespace

bool ConfigManager::load(const QString &filePath)
{
    replace(filePath, QJsonObject());

    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcConfig).noquote() << "Cannot read configuration file" << filePath << ":" << file.errorString();
        return false;
    }

    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        qCWarning(lcConfig).noquote() << "Malformed configuration file" << filePath << ":" << parseError.errorString()
                                      << "at offset" << parseError.offset;
        return false;
    }
    if (!document.isObject()) {
        qCWarning(lcConfig).noquote() << "Malformed configuration file" << filePath << ": the top level is not a JSON object";
        return false;
    }

    replace(filePath, document.object());
    if (!strictTls())
        qCWarning(lcConfig).noquote() << "network.strictTls is off in" << filePath
                                      << ": TLS errors of GET requests are ignored, and a request that reuses their"
                                         " connection to the same host is not verified either";
    return true;
}

void ConfigManager::replace(const QString &filePath, const QJsonObject &root)
{
    const QWriteLocker locker(&m_lock);
    m_filePath = filePath;
    m_root = root;
}

QJsonValue ConfigManager::value(const QString &key) const
{
    const QReadLocker locker(&m_lock);
    return m_root.value(key);
}

QString ConfigManager::filePath() const
{
    const QReadLocker locker(&m_lock);
    return m_filePath;
}

QString ConfigManager::appAccountName() const
{
    return value(QStringLiteral("appAccountName")).toString();
}

QString ConfigManager::loginProjectId() const
{
    return value(QStringLiteral("loginProjectId")).toString();
}

QString ConfigManager::productName() const
{
    return value(QStringLiteral("productName")).toString();
}

QString ConfigManager::callbackUrl() const
{
    return value(QStringLiteral("callbackUrl")).toString();
}

QString ConfigManager::authFields() const
{
    return value(QStringLiteral("authFields")).toString();
}

bool ConfigManager::oauth2Enabled() const
{
    return value(QStringLiteral("oauth2Enabled")).toBool();
}

int ConfigManager::oauth2ClientId() const
{
    return value(QStringLiteral("oauth2ClientId")).toInt();
}

int ConfigManager::requestTimeout() const
{
    const QJsonObject network = value(QStringLiteral("network")).toObject();
    return positiveInt(network.value(QStringLiteral("requestTimeoutMs")), DefaultRequestTimeout);
}

bool ConfigManager::strictTls() const
{
    const QJsonObject network = value(QStringLiteral("network")).toObject();
    // Anything but an explicit false keeps TLS verified.
    return network.value(QStringLiteral("strictTls")).toBool(true);
}

int ConfigManager::authorizationTimeout() const
{
    return positiveInt(value(QStringLiteral("authorizationTimeoutMs")), DefaultAuthorizationTimeout);
}

QString ConfigManager::steamApiLibrary() const
{
    return value(QStringLiteral("steamApiLibrary")).toString();
}

QString ConfigManager::stoneLauncherLibrary() const
{
    return value(QStringLiteral("stoneLauncherLibrary")).toString();
}

QJsonObject ConfigManager::urls() const
{
    return value(QStringLiteral("urls")).toObject();
}

} // namespace NimblaSDK
