#pragma once

#include "nimblacore_export.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QVariant>

#include <memory>

namespace NimblaSDK {

class Journal;

/*!
 * Analytics events.
 *
 * Delivered to the "NimblaSDK.Core.EventsTracker" logging category and
 * appended as JSON lines to a journal in the application's data folder.
 * Main thread only.
 */
class NIMBLACORE_EXPORT EventsTracker
{
public:
    //! The one tracker, made at first use.
    static EventsTracker &instance();

    //! Records the event \a name with \a value (often null): an info line of the category and a journal line.
    void trackNimblaEvent(const QString &name, const QVariant &value);

    // The journal's read-back is for the library's own tests, which link its objects;
    // the shared library does not export it.
    //! What was tracked lately, oldest first: {"event": name, "value": value}. Not exported: a launcher cannot
    //! call it.
    NIMBLACORE_NO_EXPORT QList<QJsonObject> recentEntries() const;
    //! Forgets recentEntries(). Not exported: a launcher cannot call it.
    NIMBLACORE_NO_EXPORT void clearRecentEntries();

    ~EventsTracker();
    EventsTracker(const EventsTracker &) = delete;
    EventsTracker &operator=(const EventsTracker &) = delete;

private:
    EventsTracker();

    std::unique_ptr<Journal> m_journal;
};

} // namespace NimblaSDK
