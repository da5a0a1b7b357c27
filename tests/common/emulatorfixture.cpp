#include "emulatorfixture.h"

#include "napplication.h"

#include <QFile>
#include <QJsonDocument>
#include <QSettings>
#include <QStandardPaths>

namespace {

QJsonObject merged(QJsonObject base, const QJsonObject &overrides)
{
    for (auto it = overrides.begin(); it != overrides.end(); ++it) {
        const bool nested = it.key() == QLatin1String("urls") || it.key() == QLatin1String("network");
        if (nested && it.value().isObject()) {
            QJsonObject inner = base.value(it.key()).toObject();
            const QJsonObject innerOverrides = it.value().toObject();
            for (auto in = innerOverrides.begin(); in != innerOverrides.end(); ++in)
                inner.insert(in.key(), in.value());
            base.insert(it.key(), inner);
        } else {
            base.insert(it.key(), it.value());
        }
    }
    return base;
}

} // namespace

EmulatorFixture::EmulatorFixture()
{
    // Settings, journals and one-time passwords of the library land in the temporary folder.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_tempDir.filePath(QStringLiteral("config")));
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_tempDir.filePath(QStringLiteral("config")));
    QStandardPaths::setTestModeEnabled(true);
}

bool EmulatorFixture::start(const QStringList &extraArguments)
{
    const QString generated = m_tempDir.filePath(QStringLiteral("emulator-config.json"));
    if (!m_emulator.start(QStringLiteral(NIMBLA_EMULATOR_PATH), generated, extraArguments))
        return false;
    QFile file(generated);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    m_config = QJsonDocument::fromJson(file.readAll()).object();
    return loadConfig();
}

QUrl EmulatorFixture::baseUrl() const
{
    return m_emulator.baseUrl();
}

QString EmulatorFixture::configPath() const
{
    return m_configPath;
}

QJsonObject EmulatorFixture::config() const
{
    return m_config;
}

QString EmulatorFixture::tempPath() const
{
    return m_tempDir.path();
}

bool EmulatorFixture::loadConfig(const QJsonObject &overrides)
{
    static int generation = 0;
    m_configPath = m_tempDir.filePath(QStringLiteral("config-%1.json").arg(++generation));
    QFile file(m_configPath);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(QJsonDocument(merged(m_config, overrides)).toJson());
    file.close();
    return NimblaSDK::NApplication::instance().loadConfiguration(m_configPath);
}

QString EmulatorFixture::token(const QString &user, const QString &project, int expiresInSeconds)
{
    return m_emulator.token(user, project, expiresInSeconds);
}

QJsonObject EmulatorFixture::adminConfig(const QString &project)
{
    return QJsonDocument::fromJson(adminGet(QStringLiteral("/admin/config?project=") + project)).object();
}

void EmulatorFixture::injectFault(const QUrl &url, QJsonObject fault)
{
    fault.insert(QStringLiteral("path"), url.path());
    adminSend("POST", QStringLiteral("/admin/faults"), fault);
}

void EmulatorFixture::clearFaults()
{
    adminSend("DELETE", QStringLiteral("/admin/faults"));
}

QJsonArray EmulatorFixture::requests(const QString &path)
{
    const QJsonArray all = QJsonDocument::fromJson(adminGet(QStringLiteral("/admin/requests"))).array();
    if (path.isEmpty())
        return all;
    QJsonArray matching;
    for (const QJsonValue &request : all) {
        if (request.toObject().value(QStringLiteral("path")).toString() == path)
            matching.append(request);
    }
    return matching;
}

void EmulatorFixture::clearRequests()
{
    adminSend("DELETE", QStringLiteral("/admin/requests"));
}

void EmulatorFixture::setPkceRequired(bool required)
{
    adminSend("PUT", QStringLiteral("/admin/pkce"), {{QStringLiteral("required"), required}});
}

QByteArray EmulatorFixture::adminGet(const QString &pathAndQuery)
{
    return adminSend("GET", pathAndQuery);
}

QByteArray EmulatorFixture::adminSend(const QByteArray &verb, const QString &pathAndQuery, const QJsonObject &body)
{
    return m_emulator.send(verb, pathAndQuery, body);
}
