#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include "ijwtvalidator.h"

#include <QUrl>

namespace NimblaSDK {

class HttpApiRequester;

/*!
 * Validates a JWT by calling a bearer-protected endpoint with it: the
 * service's acceptance of the call is the verdict.
 */
class NIMBLAAUTH_EXPORT NimblaLoginJwtValidator : public IJwtValidator
{
    Q_OBJECT

public:
    //! Creates a validator without an endpoint: set one with setTestEndpoint() before validate().
    explicit NimblaLoginJwtValidator(QObject *parent);

    //! The bearer-protected endpoint that validate() posts to; AuthManager uses the attributes read address. A
    //! status of 400 or more, or a request that fails, makes the token invalid.
    void setTestEndpoint(const QUrl &url);

public Q_SLOTS:
    //! Emits invalid() before returning when no test endpoint is set.
    void validate(const QString &jwt) override;

private:
    const QUrl &testEndpoint() const;

    HttpApiRequester *m_requester;
    QUrl m_testEndpoint;
};

} // namespace NimblaSDK
