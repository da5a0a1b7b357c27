#include "configmanager.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QLoggingCategory>

namespace NimblaSDK {

Q_LOGGING_CATEGORY(lcConfig, "NimblaSDK.Core.ConfigManager")

namespace {

QString stringValue(const QJsonObject &object, const QString &key)
{
    return object.value(key).toString();
}

int positiveInt(const QJsonValue &value, int fallback)
{
    const int number = value.toInt(0);
    return number > 0 ? number : fallback;
}

} // namespace

bool ConfigManager::load(const QString &filePath)
{
    m_filePath = filePath;
    m_root = QJsonObject();

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

    m_root = document.object();
    return true;
}

QString ConfigManager::filePath() const
{
    return m_filePath;
}

QString ConfigManager::appAccountName() const
{
    return stringValue(m_root, QStringLiteral("appAccountName"));
}

QString ConfigManager::loginProjectId() const
{
    return stringValue(m_root, QStringLiteral("loginProjectId"));
}

QString ConfigManager::productName() const
{
    return stringValue(m_root, QStringLiteral("productName"));
}

QString ConfigManager::callbackUrl() const
{
    return stringValue(m_root, QStringLiteral("callbackUrl"));
}

QString ConfigManager::authFields() const
{
    return stringValue(m_root, QStringLiteral("authFields"));
}

bool ConfigManager::oauth2Enabled() const
{
    return m_root.value(QStringLiteral("oauth2Enabled")).toBool();
}

int ConfigManager::oauth2ClientId() const
{
    return m_root.value(QStringLiteral("oauth2ClientId")).toInt();
}

int ConfigManager::requestTimeout() const
{
    const QJsonObject network = m_root.value(QStringLiteral("network")).toObject();
    return positiveInt(network.value(QStringLiteral("requestTimeoutMs")), DefaultRequestTimeout);
}

bool ConfigManager::strictTls() const
{
    const QJsonObject network = m_root.value(QStringLiteral("network")).toObject();
    return network.value(QStringLiteral("strictTls")).toBool();
}

int ConfigManager::authorizationTimeout() const
{
    return positiveInt(m_root.value(QStringLiteral("authorizationTimeoutMs")), DefaultAuthorizationTimeout);
}

QJsonObject ConfigManager::urls() const
{
    return m_root.value(QStringLiteral("urls")).toObject();
}

} // namespace NimblaSDK
