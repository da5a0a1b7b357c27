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
    explicit NimblaLoginJwtValidator(QObject *parent);

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
