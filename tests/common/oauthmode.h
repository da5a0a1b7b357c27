#pragma once

#include <QMetaType>
#include <QString>

//! How an OAuth2 sign-in test meets the emulator.
enum class OAuthMode {
    AsToday,      //!< hex codes and tokens
    Base64Tokens, //!< a player whose codes and refresh tokens hold '+', '/' and '='
    PkceRequired, //!< an authorization request without a code challenge is refused
};
Q_DECLARE_METATYPE(OAuthMode)

//! Whether \a token holds each character that a form must not carry as it is.
inline bool holdsFormUnsafeCharacters(const QString &token)
{
    return token.contains(QLatin1Char('+')) && token.contains(QLatin1Char('/')) && token.contains(QLatin1Char('='));
}
