#pragma once

#include "nimblaauth_export.h"

#include "abstractsession.h"

#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QUrl>
#include <QVariant>

namespace NimblaSDK {

/*!
 * The base of the sessions that get their JWT from the login service's OAuth2
 * token endpoint: it trades an authorisation code or the stored refresh token
 * for an access token and a new refresh token, and keeps both in
 * sessionParameters() for the session manager to save.
 *
 * A derived session sends the user to the service with a fresh state and a
 * PKCE code challenge, checks the state that comes back and then exchanges the
 * code with the challenge's verifier:
 *
 * \code
 * const QString state = _generateState();
 * const QString verifier = _generateCodeVerifier();
 * const QUrl address = _withCodeChallenge(authorizationUrl(state), verifier);
 * // ... the service answers with a code and that state ...
 * _oauthGetJwt(code, NApplication::instance().configManager()->callbackUrl(), false, verifier);
 * \endcode
 *
 * The exchange ends in loginFinished() or error(), like every sign-in.
 */
class NIMBLAAUTH_EXPORT AbstactOAuthSession : public NimblaSDK::AbstractSession
{
    Q_OBJECT

public:
    //! "access_token": the key of the access token, the JWT, in sessionParameters() and sessionState().
    static const QString SessionAccessToken;
    //! "refresh_token": the key of the refresh token in sessionParameters() and sessionState().
    static const QString SessionRefreshToken;

    //! Creates a session without tokens: tryLogin() signs in, or setSessionState() and refresh() renew a saved
    //! sign-in.
    explicit AbstactOAuthSession(QObject *parent);

    //! The tokens received so far under SessionAccessToken and SessionRefreshToken, as refreshed() carries
    //! them.
    const QMap<QString, QVariant> &sessionParameters() const;

    //! The state to save between runs; nothing here, the derived sessions say what they keep.
    virtual QJsonObject sessionState() const;
    //! Restores what sessionState() returned; it does not sign in by itself.
    virtual void setSessionState(const QJsonObject &state);

protected:
    //! Trades \a code, or the stored refresh token when \a refresh is true, for a JWT; \a codeVerifier is
    //! the PKCE verifier of the authorization request that gave \a code (a refresh has none).
    virtual void _oauthGetJwt(const QString &code, const QString &redirectUri, bool refresh,
                              const QString &codeVerifier = QString());
    //! Takes the access token of a successful exchange: records it (refreshed()), sets the identity and emits
    //! loginFinished(), even for a token of another login project, which leaves the identity empty.
    virtual void _onJwtReceived(const QString &jwt);
    //! Keeps \a refreshToken for the next refresh(); a token answer without one leaves it empty, and that
    //! session cannot be renewed.
    virtual void updateRefreshToken(const QString &refreshToken);
    //! Keeps \a jwt as the access token and announces the token values with refreshed().
    void _recordAccessToken(const QString &jwt);

    //! The refresh token that refresh() sends; empty before the first exchange.
    QString refreshToken() const;
    //! The two tokens as the derived sessions save them; a token never received is null.
    QJsonObject _tokenState() const;
    //! Restores what _tokenState() gave; a missing token becomes empty.
    void _restoreTokenState(const QJsonObject &state);
    //! 12 characters of [A-Za-z0-9], drawn from the system's secure random source.
    QString _generateState();
    //! A PKCE code verifier: 64 unreserved characters, drawn from the system's secure random source.
    static QString _generateCodeVerifier();
    //! \a url with the S256 code challenge of \a codeVerifier added to its query.
    static QUrl _withCodeChallenge(QUrl url, const QString &codeVerifier);

private:
    QVariantMap m_sessionParameters;
};

} // namespace NimblaSDK
