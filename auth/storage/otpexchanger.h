#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include "iotpexchanger.h"

class QLoggingCategory;

namespace NimblaSDK {

class HttpApiRequester;

/*!
 * Exchanges a one-time password at the login service's exchangeOtpUrl.
 * Overlapping exchanges are independent: each answers on its own, in the
 * order the service replies.
 *
 * \code
 * auto *exchanger = new NimblaSDK::OtpExchanger(this);
 * connect(exchanger, &NimblaSDK::IOtpExchanger::exchanged, this,
 *         [](NimblaSDK::IOtpExchanger::CredentialType type, const QJsonObject &value) { ... });
 * connect(exchanger, &NimblaSDK::IOtpExchanger::error, this, [] { ... });
 * exchanger->exchange(otp);
 * \endcode
 */
class NIMBLAAUTH_EXPORT OtpExchanger : public IOtpExchanger
{
    Q_OBJECT

public:
    //! Creates an exchanger that asks the configured exchangeOtpUrl.
    explicit OtpExchanger(QObject *parent = nullptr);

public Q_SLOTS:
    //! Sends \a otp as it is, not percent-encoded, in the configured address; a status of 400 or more, no
    //! answer, or an answer with neither "jwt" nor both tokens ends in error().
    void exchange(QString otp) override;

private:
    static const QLoggingCategory &logC();

    HttpApiRequester *m_requester;
};

} // namespace NimblaSDK
