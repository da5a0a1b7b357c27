#include "emulatorprocess.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QTimer>
#include <QUrlQuery>

EmulatorProcess::~EmulatorProcess()
{
    stop();
}

bool EmulatorProcess::start(const QString &program, const QString &configPath, const QStringList &extraArguments)
{
    m_process.setProgram(program);
    m_process.setArguments(QStringList{QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--write-config"),
                                       configPath, QStringLiteral("--die-with-parent")}
                           + extraArguments);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start();
    if (!m_process.waitForStarted(5000)) {
        qWarning("Cannot start the emulator %s: %s", qPrintable(program), qPrintable(m_process.errorString()));
        return false;
    }

    // The emulator announces its address once it listens and its configuration file is written.
    static const QRegularExpression listening(QStringLiteral("listening on (http://\\S+)"));
    const QDeadlineTimer deadline(15000);
    QByteArray output;
    while (m_process.waitForReadyRead(int(deadline.remainingTime()))) {
        output += m_process.readAllStandardOutput();
        const QRegularExpressionMatch match = listening.match(QString::fromUtf8(output));
        if (match.hasMatch()) {
            m_baseUrl = QUrl(match.captured(1));
            return true;
        }
    }
    qWarning("The emulator did not report its address; it printed: %s", output.constData());
    stop();
    return false;
}

void EmulatorProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished(1000);
    }
}

QUrl EmulatorProcess::baseUrl() const
{
    return m_baseUrl;
}

QString EmulatorProcess::token(const QString &user, const QString &project, int expiresInSeconds)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("user"), user);
    if (!project.isEmpty())
        query.addQueryItem(QStringLiteral("project"), project);
    if (expiresInSeconds != 0)
        query.addQueryItem(QStringLiteral("expires_in"), QString::number(expiresInSeconds));
    const QByteArray reply = send("GET", QStringLiteral("/admin/token?") + query.toString(QUrl::FullyEncoded));
    return QJsonDocument::fromJson(reply).object().value(QStringLiteral("token")).toString();
}

QByteArray EmulatorProcess::send(const QByteArray &verb, const QString &pathAndQuery, const QJsonObject &body)
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
    if (!reply->isFinished() || reply->error() != QNetworkReply::NoError) {
        qWarning("Emulator request %s %s failed: %s", verb.constData(), qPrintable(pathAndQuery),
                 qPrintable(reply->errorString()));
    }
    const QByteArray data = reply->isOpen() ? reply->readAll() : QByteArray();
    delete reply;
    return data;
}

QString EmulatorProcess::socialProviderLink(const QString &listUrl, const QString &provider)
{
    const QJsonObject links = QJsonDocument::fromJson(send("GET", listUrl)).object().value("socialLinks").toObject();
    for (const QJsonValue &group : links) {
        for (const QJsonValue &entry : group.toArray()) {
            if (entry.toObject().value("name").toString() == provider)
                return entry.toObject().value("url").toString();
        }
    }
    return QString();
}
