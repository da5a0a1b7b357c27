#pragma once

#include "nimblacore_export.h"

#include <QJsonObject>
#include <QList>
#include <QString>

#include <memory>

namespace NimblaSDK {

class Journal;

/*!
 * The application log's context: tags it with the signed-in login.
 *
 * Delivered to the "NimblaSDK.Core.LogManager" logging category and appended
 * as JSON lines to a journal in the application's data folder. Main thread only.
 */
class NIMBLACORE_EXPORT LogManager
{
public:
    //! The one log manager; \a verbose of the first call turns on debug output of the core categories.
    static LogManager &instance(bool verbose);

    //! The login the log is tagged with: the signed-in player's e-mail address.
    QString username() const;
    //! Tags the log with \a username, an info line and a journal line; the sessions call it at every sign-in.
    void setUsername(const QString &username);

    // The journal's read-back is for the library's own tests, which link its objects;
    // the shared library does not export it.
    //! What was logged lately, oldest first. Not exported: a launcher cannot call it.
    NIMBLACORE_NO_EXPORT QList<QJsonObject> recentEntries() const;
    //! Forgets recentEntries(). Not exported: a launcher cannot call it.
    NIMBLACORE_NO_EXPORT void clearRecentEntries();

    ~LogManager();
    LogManager(const LogManager &) = delete;
    LogManager &operator=(const LogManager &) = delete;

private:
    explicit LogManager(bool verbose);

    std::unique_ptr<Journal> m_journal;
    QString m_username;
};

} // namespace NimblaSDK
