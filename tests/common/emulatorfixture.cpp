#include "emulatorfixture.h"

#include "napplication.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QTimer>
#include <QUrlQuery>

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

EmulatorFixture::~EmulatorFixture()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(1000);
    }
}

bool EmulatorFixture::start(const QStringList &extraArguments)
{
    const QString generated = m_tempDir.filePath(QStringLiteral("emulator-config.json"));
    m_process.setProgram(QStringLiteral(NIMBLA_EMULATOR_PATH));
    m_process.setArguments(QStringList{QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--write-config"),
                                       generated, QStringLiteral("--die-with-parent")} + extraArguments);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start();
    if (!m_process.waitForStarted(5000)) {
        qWarning() << "Cannot start the emulator:" << m_process.errorString();
        return false;
    }

    static const QRegularExpression listening(QStringLiteral("listening on (http://\\S+)"));
    QDeadlineTimer deadline(15000);
    QByteArray output;
    while (!deadline.hasExpired()) {
        if (!m_process.waitForReadyRead(int(deadline.remainingTime())))
            break;
        output += m_process.readAll();
        const QRegularExpressionMatch match = listening.match(QString::fromUtf8(output));
        if (match.hasMatch()) {
            m_baseUrl = QUrl(match.captured(1));
            QFile file(generated);
            if (!file.open(QIODevice::ReadOnly))
                return false;
            m_config = QJsonDocument::fromJson(file.readAll()).object();
            return loadConfig();
        }
    }
    qWarning() << "The emulator did not report its address; it printed:" << output;
    return false;
}

QUrl EmulatorFixture::baseUrl() const
{
    return m_baseUrl;
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
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("user"), user);
    if (!project.isEmpty())
        query.addQueryItem(QStringLiteral("project"), project);
    if (expiresInSeconds != 0)
        query.addQueryItem(QStringLiteral("expires_in"), QString::number(expiresInSeconds));
    const QByteArray reply = adminGet(QStringLiteral("/admin/token?") + query.toString(QUrl::FullyEncoded));
    return QJsonDocument::fromJson(reply).object().value(QStringLiteral("token")).toString();
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

QByteArray EmulatorFixture::adminGet(const QString &pathAndQuery)
{
    return adminSend("GET", pathAndQuery);
}

QByteArray EmulatorFixture::adminSend(const QByteArray &verb, const QString &pathAndQuery, const QJsonObject &body)
{
    QNetworkAccessManager manager;
    QNetworkRequest request(m_baseUrl.resolved(QUrl(pathAndQuery)));
    QByteArray payload;
    if (!body.isEmpty()) {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        payload = QJsonDocument(body).toJson(QJsonDocument::Compact);
    }
    QNetworkReply *reply = manager.sendCustomRequest(request, verb, payload);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    loop.exec();
    if (!reply->isFinished() || reply->error() != QNetworkReply::NoError)
        qWarning() << "Emulator admin request failed:" << verb << pathAndQuery << reply->errorString();
    const QByteArray data = reply->readAll();
    delete reply;
    return data;
}
