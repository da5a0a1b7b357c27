#pragma once

#include "libraryreports.h"
#include "nnetworkaccessmanager.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStringList>
#include <QUrl>

// What the login tests read back: reports, events and the shared network manager's traffic.
namespace LoginSupport {

using LibraryReports::clearJournals;
using LibraryReports::errorReports;
using LibraryReports::trackedEvents;

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
