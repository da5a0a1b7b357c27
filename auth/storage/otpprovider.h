#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include "iotpprovider.h"

#include <QSettings>
#include <QString>

#include <future>

namespace NimblaSDK {

/*!
 * Reads the one-time password that the launcher's installer or web page left
 * for a product: the value "otp" in the registry key
 * `HKEY_CURRENT_USER\Software\NIMBLA\<product>_Launcher` on Windows, and in the
 * native settings file of organisation "NIMBLA", application
 * `<product>_Launcher` in the user's configuration folder elsewhere.
 *
 * \code
 * NimblaSDK::OtpProvider provider(this);
 * provider.setProjectName(configManager->productName());
 * const QString otp = provider.read();
 * if (!otp.isEmpty())
 *     exchanger->exchange(otp);
 * \endcode
 */
class NIMBLAAUTH_EXPORT OtpProvider : public IOtpProvider
{
    Q_OBJECT

public:
    //! "otp": the name of the value that holds the password.
    static const QString Key;
    //! The organisation's key, `HKEY_CURRENT_USER\Software\NIMBLA`, that setProjectName() extends.
    static const QString RootPathPrefix;

    //! Creates a provider without a product: until setProjectName() names one, read() finds nothing and warns
    //! that no product name was set.
    explicit OtpProvider(QObject *parent = nullptr);

    //! Names the product, usually ConfigManager::productName(); an empty \a name points at the organisation's
    //! own key, which on Linux holds no password.
    void setProjectName(const QString &name);

    //! Opens the settings afresh, so a value written by another program since the last call is seen.
    QString read() override;
    //! Returns at once; the next read() does not see the removed password.
    void remove() override;

private:
    QString m_path;
    QSettings m_settings;
    std::future<void> m_removal;
};

} // namespace NimblaSDK
