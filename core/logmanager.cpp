#include "logmanager.h"

#include "corelogging_p.h"
#include "journal_p.h"

namespace NimblaSDK {

LogManager &LogManager::instance(bool verbose)
{
    static LogManager manager(verbose);
    return manager;
}

LogManager::LogManager(bool verbose)
    : m_journal(std::make_unique<Journal>(QStringLiteral("log.jsonl")))
{
    if (verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("NimblaSDK.*.debug=true"));
}

LogManager::~LogManager() = default;

QString LogManager::username() const
{
    return m_username;
}

void LogManager::setUsername(const QString &username)
{
    m_username = username;
    qCInfo(lcLogManager).noquote() << "Log user:" << username;
    m_journal->append({{QStringLiteral("username"), username}});
}

QList<QJsonObject> LogManager::recentEntries() const
{
    return m_journal->recentEntries();
}

void LogManager::clearRecentEntries()
{
    m_journal->clearRecentEntries();
}

} // namespace NimblaSDK
