#include "errorlogger.h"

#include "corelogging_p.h"
#include "journal_p.h"

#include <QJsonObject>

namespace NimblaSDK {

namespace {

QJsonObject toJson(const QMap<QString, QString> &map)
{
    QJsonObject object;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        object.insert(it.key(), it.value());
    return object;
}

} // namespace

ErrorLogger &ErrorLogger::instance(const ErrorLoggerSettings &settings)
{
    static ErrorLogger logger(settings);
    return logger;
}

ErrorLogger::ErrorLogger(const ErrorLoggerSettings &settings)
    : m_journal(std::make_unique<Journal>(settings.journalFileName))
{
}

ErrorLogger::~ErrorLogger() = default;

void ErrorLogger::logError(const ErrorInfo &info)
{
    qCWarning(lcErrorLogger).noquote() << "[" + info.area + "]" << info.message << "-" << info.details;
    m_journal->append({
        {QStringLiteral("kind"), QStringLiteral("error")},
        {QStringLiteral("message"), info.message},
        {QStringLiteral("details"), info.details},
        {QStringLiteral("extra"), toJson(info.extra)},
        {QStringLiteral("area"), info.area},
        {QStringLiteral("tags"), toJson(m_tags)},
    });
}

void ErrorLogger::logInfo(const QString &text)
{
    qCInfo(lcErrorLogger).noquote() << text;
    m_journal->append({
        {QStringLiteral("kind"), QStringLiteral("info")},
        {QStringLiteral("message"), text},
        {QStringLiteral("tags"), toJson(m_tags)},
    });
}

QMap<QString, QString> ErrorLogger::additionalTags() const
{
    return m_tags;
}

void ErrorLogger::setAdditionalTags(const QMap<QString, QString> &tags)
{
    m_tags = tags;
}

QList<QJsonObject> ErrorLogger::recentEntries() const
{
    return m_journal->recentEntries();
}

void ErrorLogger::clearRecentEntries()
{
    m_journal->clearRecentEntries();
}

QString ErrorLogger::journalPath() const
{
    return m_journal->filePath();
}

} // namespace NimblaSDK
