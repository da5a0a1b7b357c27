#pragma once

#include "nimblacore_export.h"

#include "errorinfo.h"

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>

#include <memory>

namespace NimblaSDK {

class Journal;

//! Settings of the error logger; the defaults suit every caller of this library.
struct ErrorLoggerSettings
{
    //! The journal's file name in the application's data folder.
    QString journalFileName = QStringLiteral("errors.jsonl");
};

/*!
 * Error reports and info lines, with tags attached to every report.
 *
 * Delivered to the "NimblaSDK.Core.ErrorLogger" logging category and appended
 * as JSON lines to a journal in the application's data folder. Main thread only.
 */
class NIMBLACORE_EXPORT ErrorLogger
{
public:
    //! The one logger; the settings of the first call are the ones used.
    static ErrorLogger &instance(const ErrorLoggerSettings &settings);

    //! Reports \a info with the current tags: a warning line of the category and a journal line. A journal that
    //! cannot be written is skipped, with one warning the first time.
    void logError(const ErrorInfo &info);
    //! Reports \a text with the current tags: an info line of the category and a journal line.
    void logInfo(const QString &text);

    //! The tags attached to every report; the sessions add "user_id", "username" and "external_account_id".
    QMap<QString, QString> additionalTags() const;
    //! Replaces the tags attached to every later report.
    void setAdditionalTags(const QMap<QString, QString> &tags);

    // The journal's read-back is for the library's own tests, which link its objects;
    // the shared library does not export it.
    //! What was reported lately, oldest first: {"kind": "error"|"info", ...}. Not exported: a launcher cannot
    //! call it.
    NIMBLACORE_NO_EXPORT QList<QJsonObject> recentEntries() const;
    //! Forgets recentEntries(). Not exported: a launcher cannot call it.
    NIMBLACORE_NO_EXPORT void clearRecentEntries();
    //! Where the journal is written. Not exported: a launcher cannot call it.
    NIMBLACORE_NO_EXPORT QString journalPath() const;

    ~ErrorLogger();
    ErrorLogger(const ErrorLogger &) = delete;
    ErrorLogger &operator=(const ErrorLogger &) = delete;

private:
    explicit ErrorLogger(const ErrorLoggerSettings &settings);

    std::unique_ptr<Journal> m_journal;
    QMap<QString, QString> m_tags;
};

} // namespace NimblaSDK
