#pragma once

#include "nimblacore_export.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QReadWriteLock>
#include <QString>

namespace NimblaSDK {

/*!
 * Read-only configuration of the application, loaded from one JSON file.
 *
 * A missing or malformed file leaves every value empty (and the numeric
 * settings at their defaults) after one warning naming the file and the fault.
 * The getters may be called from any thread: the local callback server reads
 * the configuration on its worker threads.
 */
class NIMBLACORE_EXPORT ConfigManager
{
public:
    static constexpr int DefaultRequestTimeout = 30000;
    static constexpr int DefaultAuthorizationTimeout = 60000;

    bool load(const QString &filePath);
    QString filePath() const;

    QString appAccountName() const;
    QString loginProjectId() const;
    QString productName() const;
    QString callbackUrl() const;
    QString authFields() const;
    bool oauth2Enabled() const;
    int oauth2ClientId() const;

    int requestTimeout() const;
    bool strictTls() const;
    int authorizationTimeout() const;
    //! Where the Steam client library is, tried before the platform's own search; empty: not configured.
    QString steamApiLibrary() const;
    //! Where the Stone launcher's library is; empty: the system's search path.
    QString stoneLauncherLibrary() const;

    QJsonObject urls() const;

private:
    QJsonValue value(const QString &key) const;
    void replace(const QString &filePath, const QJsonObject &root);

    mutable QReadWriteLock m_lock;
    QString m_filePath;
    QJsonObject m_root;
};

} // namespace NimblaSDK
