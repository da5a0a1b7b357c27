#include "journal_p.h"

#include "corelogging_p.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QStandardPaths>

namespace NimblaSDK {

Journal::Journal(const QString &fileName)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    m_filePath = QDir(folder).filePath(fileName);
}

void Journal::append(QJsonObject entry)
{
    entry.insert(QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));

    m_recent.append(entry);
    if (m_recent.size() > RecentCapacity)
        m_recent.removeFirst();

    QFile file(m_filePath);
    const bool opened = QDir().mkpath(QFileInfo(m_filePath).absolutePath())
            && file.open(QIODevice::WriteOnly | QIODevice::Append);
    if (!opened) {
        // Reporting must never fail the caller; say so once and keep the in-memory entries.
        if (!m_fileWarned)
            qCWarning(lcJournal).noquote() << "Cannot write" << m_filePath << ":" << file.errorString();
        m_fileWarned = true;
        return;
    }
    file.write(QJsonDocument(entry).toJson(QJsonDocument::Compact) + '\n');
}

QList<QJsonObject> Journal::recentEntries() const
{
    return m_recent;
}

void Journal::clearRecentEntries()
{
    m_recent.clear();
}

QString Journal::filePath() const
{
    return m_filePath;
}

} // namespace NimblaSDK
