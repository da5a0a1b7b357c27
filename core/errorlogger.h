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

    void logError(const ErrorInfo &info);
    void logInfo(const QString &text);

    QMap<QString, QString> additionalTags() const;
    void setAdditionalTags(const QMap<QString, QString> &tags);

    // The journal's read-back is for the library's own tests, which link its objects;
    // the shared library does not export it.
    //! What was reported lately, oldest first: {"kind": "error"|"info", ...}.
    NIMBLACORE_NO_EXPORT QList<QJsonObject> recentEntries() const;
    NIMBLACORE_NO_EXPORT void clearRecentEntries();
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
