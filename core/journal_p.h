#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

namespace NimblaSDK {

/*
 * Appends one JSON object per line to a file in the application's data folder
 * and keeps the most recent entries in memory, so that what the reporters
 * delivered can be read back without parsing the file.
 */
class Journal
{
public:
    explicit Journal(const QString &fileName);

    void append(QJsonObject entry);
    QList<QJsonObject> recentEntries() const;
    void clearRecentEntries();
    QString filePath() const;

private:
    static constexpr int RecentCapacity = 256;

    QString m_filePath;
    QList<QJsonObject> m_recent;
    bool m_fileWarned = false;
};

} // namespace NimblaSDK
