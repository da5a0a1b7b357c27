#include "eventstracker.h"

#include "corelogging_p.h"
#include "journal_p.h"

#include <QJsonValue>

namespace NimblaSDK {

EventsTracker &EventsTracker::instance()
{
    static EventsTracker tracker;
    return tracker;
}

EventsTracker::EventsTracker()
    : m_journal(std::make_unique<Journal>(QStringLiteral("events.jsonl")))
{
}

EventsTracker::~EventsTracker() = default;

void EventsTracker::trackNimblaEvent(const QString &name, const QVariant &value)
{
    qCInfo(lcEventsTracker).noquote() << "Event" << name << value.toString();
    m_journal->append({
        {QStringLiteral("event"), name},
        {QStringLiteral("value"), QJsonValue::fromVariant(value)},
    });
}

QList<QJsonObject> EventsTracker::recentEntries() const
{
    return m_journal->recentEntries();
}

void EventsTracker::clearRecentEntries()
{
    m_journal->clearRecentEntries();
}

} // namespace NimblaSDK
