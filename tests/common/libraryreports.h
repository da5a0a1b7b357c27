#pragma once

#include "errorlogger.h"
#include "eventstracker.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QStringList>

// What the library reported, read back from the core's journals.
namespace LibraryReports {

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
        if (entry.value(QStringLiteral("kind")).toString() == QLatin1String("error"))
            reports << QStringList{entry.value("message").toString(), entry.value("details").toString(),
                                   entry.value("area").toString()}.join(QStringLiteral(" | "));
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

} // namespace LibraryReports
