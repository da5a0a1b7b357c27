#pragma once

#include "errorlogger.h"
#include "eventstracker.h"
#include "nnetworkaccessmanager.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStringList>
#include <QUrl>

// What the login tests read back: reports, events and the shared network manager's traffic.
namespace LoginSupport {

inline void clearJournals()
{
    NimblaSDK::ErrorLogger::instance(NimblaSDK::ErrorLoggerSettings()).clearRecentEntries();
    NimblaSDK::EventsTracker::instance().clearRecentEntries();
}

//! Error reports as "title | details | area".
inline QStringList errorReports()
{
    QStringList reports;
    for (const QJsonObject &entry : NimblaSDK::ErrorLogger::instance(NimblaSDK::ErrorLoggerSettings()).recentEntries()) {
        if (entry.value("kind").toString() == QLatin1String("error"))
            reports << QStringList{entry.value("message").toString(), entry.value("details").toString(),
                                   entry.value("area").toString()}.join(" | ");
    }
    return reports;
}

//! Event names; an event sent with a value shows up as "name=value".
inline QStringList trackedEvents()
{
    QStringList names;
    for (const QJsonObject &entry : NimblaSDK::EventsTracker::instance().recentEntries()) {
        const QJsonValue value = entry.value("value");
        names << entry.value("event").toString() + (value.isNull() ? QString() : '=' + value.toVariant().toString());
    }
    return names;
}

inline QString path(const QString &url)
{
    return QUrl(url).path();
}

inline QString compactJson(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

//! A canned error answer of the service.
inline QJsonObject refusal(int status, const QString &description)
{
    return {{"status", status}, {"body", compactJson({{"error", QJsonObject{{"description", description}}}})}};
}

//! The error text Qt gives a reply that the server answered with an HTTP error status.
inline QString httpErrorText(const QString &url, const QString &reason)
{
    return QStringLiteral("Error transferring %1 - server replied: %2").arg(url, reason);
}

//! Replies of the shared network manager: finished ones by path, and those still alive.
class ReplyWatch
{
public:
    ReplyWatch()
    {
        m_connection = QObject::connect(NimblaSDK::NNetworkAccessManager::getManager(), &QNetworkAccessManager::finished,
                                        [this](QNetworkReply *reply) { m_finished << reply->url().path(); });
    }
    ~ReplyWatch() { QObject::disconnect(m_connection); }

    int finished(const QString &path) const { return m_finished.count(path); }

    // A request the library made is a child of the manager until its reply is released.
    static int alive(const QString &path)
    {
        int count = 0;
        for (QNetworkReply *reply : NimblaSDK::NNetworkAccessManager::getManager()->findChildren<QNetworkReply *>())
            count += reply->url().path() == path ? 1 : 0;
        return count;
    }

private:
    QMetaObject::Connection m_connection;
    QStringList m_finished;
};

} // namespace LoginSupport
