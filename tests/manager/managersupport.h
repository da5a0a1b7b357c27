#pragma once

#include "authmanager.h"
#include "napplication.h"
#include "storage/nativesecurejsonobjectstorage.h"

#include <QJsonObject>
#include <QObject>
#include <QSettings>
#include <QStringList>

#include <memory>

// What the manager tests read and prepare: the remembered record in the
// vault, the one-time password left for the launcher and the manager's signals.
namespace ManagerSupport {

inline NimblaSDK::NativeSecureJsonObjectStorage recordStorage()
{
    return NimblaSDK::NativeSecureJsonObjectStorage(
            QStringLiteral("%1Session").arg(NimblaSDK::NApplication::instance().appAccountName()));
}

inline QJsonObject savedRecord() { return recordStorage().read(); }
inline bool saveRecord(const QJsonObject &record) { return recordStorage().save(record); }
inline void removeRecord() { recordStorage().remove(); }

//! Where the launcher's installer leaves a one-time password for this product.
inline std::unique_ptr<QSettings> otpSettings()
{
    return std::make_unique<QSettings>(
            QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("NIMBLA"),
            NimblaSDK::NApplication::instance().configManager()->productName() + QStringLiteral("_Launcher"));
}

inline void leaveOtp(const QString &otp) { otpSettings()->setValue(QStringLiteral("otp"), otp); }
inline QString leftOtp() { return otpSettings()->value(QStringLiteral("otp")).toString(); }

//! The manager's signals in the order they came; error() shows as "error:<text>".
class SignalLog : public QObject
{
public:
    explicit SignalLog(NimblaSDK::AuthManager &manager)
    {
        using NimblaSDK::AuthManager;
        connect(&manager, &AuthManager::rememberMeChanged, this, [this] { names << QStringLiteral("rememberMeChanged"); });
        connect(&manager, &AuthManager::isAutologinChanged, this, [this] { names << QStringLiteral("isAutologinChanged"); });
        connect(&manager, &AuthManager::currentSessionChanged, this,
                [this] { names << QStringLiteral("currentSessionChanged"); });
        connect(&manager, &AuthManager::error, this, [this](const QString &text) { names << QStringLiteral("error:") + text; });
    }

    QStringList names;
};

} // namespace ManagerSupport
