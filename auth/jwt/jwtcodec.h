#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include <QByteArray>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QString>

namespace NimblaSDK {

/*!
 * Takes a compact JSON Web Token apart into header, payload and signature.
 *
 * Only reads claims: whether a token is genuine is for the login service to
 * say, so no signature is computed or compared.
 *
 * \code
 * JwtCodec codec;
 * if (codec.decode(jwt))
 *     const QString subject = codec.payloadDocument().object().value("sub").toString();
 * \endcode
 */
class NIMBLAAUTH_EXPORT JwtCodec
{
    Q_DECLARE_TR_FUNCTIONS(JwtCodec)

public:
    //! An empty token: an HS256 header and an empty payload.
    JwtCodec();

    //! Whether \a alg is HS256, HS384 or HS512, in any case: the only algorithms a header may name.
    static bool isAlgorithmSupported(const QString &alg);
    //! Replaces the header with one naming \a alg; false, with nothing changed, for an unsupported algorithm.
    bool setAlgorithm(const QString &alg);

    //! Takes \a doc as the header; false, with nothing changed, unless it is an object whose "alg" is
    //! supported.
    bool setHeader(const QJsonDocument &doc);
    //! As above, from JSON text; false for text that does not parse.
    bool setHeader(const QString &json);
    //! Takes \a doc as the payload, the claims; false, with nothing changed, unless it is an object.
    bool setPayload(const QJsonDocument &doc);
    //! As above, from JSON text; false for text that does not parse.
    bool setPayload(const QString &json);

    //! The header as JSON text.
    QString headerJson(QJsonDocument::JsonFormat format = QJsonDocument::Indented) const;
    //! The payload as JSON text.
    QString payloadJson(QJsonDocument::JsonFormat format = QJsonDocument::Indented) const;
    //! The payload, whose object holds the claims ("sub", "email", "username", ...).
    QJsonDocument payloadDocument() const;
    //! The signature of the last decode(), as raw bytes; never checked here.
    QByteArray signature() const;
    //! The algorithm the header names.
    QString algorithm() const;

    //! Accepts "header.payload.signature", each part base64url JSON or plain JSON. False, with nothing changed,
    //! for anything else: not three parts, or a header or payload that setHeader() or setPayload() refuses.
    //! True says nothing of whether the token is genuine.
    bool decode(const QString &token);

private:
    QJsonDocument m_header;
    QJsonDocument m_payload;
    QByteArray m_signature;
    QString m_secret;
    QString m_algorithm;
    int m_randomLength = 10;
    QString m_randomAlphabet = QStringLiteral("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
    QByteArray m_encodedCache;
};

} // namespace NimblaSDK
