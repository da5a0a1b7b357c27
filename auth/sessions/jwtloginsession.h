#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <NimblaSDK/Auth/abstractsession.h>

namespace NimblaSDK {

class JWTchecker;

//! Signs in with a JWT the launcher already holds, once the login service confirms it.
class NIMBLAAUTH_EXPORT JwtLoginSession : public NimblaSDK::AbstractSession
{
    Q_OBJECT

public:
    //! Creates a session with no token; setJwtToken() and tryLogin() sign in.
    explicit JwtLoginSession(QObject *parent);

    //! Stores the token for the next tryLogin(); nothing is validated yet.
    void setJwtToken(const QString &jwt);
    //! Asks the service to confirm the token; loginFinished() when it does and the token is of this login
    //! project, else error() "Token is invalid" (an unreachable service included).
    void tryLogin() override;

private:
    QString m_jwtToken;
    JWTchecker *m_checker;
};

} // namespace NimblaSDK
