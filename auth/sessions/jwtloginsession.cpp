#include "jwtloginsession.h"

#include "jwt/jwtchecker.h"

namespace NimblaSDK {

JwtLoginSession::JwtLoginSession(QObject *parent)
    : AbstractSession(parent)
    , m_checker(new JWTchecker(this))
{
}

void JwtLoginSession::setJwtToken(const QString &jwt)
{
    m_jwtToken = jwt;
}

void JwtLoginSession::tryLogin()
{
    m_checker->validateJWTAsync(m_jwtToken);
    connect(m_checker, &JWTchecker::jwtValidated, this, [this](bool valid) {
        // Drops the handlers of every pending attempt, so only the first answer is acted on.
        QObject::disconnect(m_checker, nullptr, nullptr, nullptr);
        if (valid && _processJWT(m_jwtToken))
            _finishAuth();
        else
            Q_EMIT error(QStringLiteral("Token is invalid"));
    });
}

} // namespace NimblaSDK
