#pragma once

#include "errorlogger.h"

#include <QHostAddress>
#include <QJsonObject>
#include <QList>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QUrl>
#include <QUrlQuery>

// Checks shared by the browser sign-in tests.
namespace SignInChecks {

inline QRegularExpression startedLine()
{
    return QRegularExpression(QStringLiteral("^Starting local server on port: [1-9]\\d*$"));
}

// What a desktop without a browser says when it refuses an address: the
// minimal platform of the test run, or the offscreen one.
inline QRegularExpression refusedByDesktop()
{
    return QRegularExpression(QStringLiteral("^(The platform plugin does not support services|"
                                             "This plugin does not support QPlatformServices::openUrl\\(\\) for '.+')\\.$"));
}

inline QList<QJsonObject> errorReports()
{
    QList<QJsonObject> reports;
    for (const QJsonObject &entry : NimblaSDK::ErrorLogger::instance(NimblaSDK::ErrorLoggerSettings()).recentEntries()) {
        if (entry.value(QStringLiteral("kind")).toString() == QLatin1String("error"))
            reports.append(entry);
    }
    return reports;
}

inline QString queryValue(const QUrl &url, const QString &name)
{
    return QUrlQuery(url).queryItemValue(name, QUrl::FullyDecoded);
}

//! The local port named by the query item \a name of \a url, e.g. "login_url" or "redirect_uri".
inline quint16 listenerPort(const QUrl &url, const QString &name)
{
    return quint16(QUrl(queryValue(url, name)).port());
}

inline bool listens(quint16 port)
{
    QTcpSocket probe;
    probe.connectToHost(QHostAddress::LocalHost, port);
    return probe.waitForConnected(5000);
}

} // namespace SignInChecks
