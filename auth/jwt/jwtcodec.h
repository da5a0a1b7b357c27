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
    JwtCodec();

    static bool isAlgorithmSupported(const QString &alg);
    bool setAlgorithm(const QString &alg);

    bool setHeader(const QJsonDocument &doc);
    bool setHeader(const QString &json);
    bool setPayload(const QJsonDocument &doc);
    bool setPayload(const QString &json);

    QString headerJson(QJsonDocument::JsonFormat format = QJsonDocument::Indented) const;
    QString payloadJson(QJsonDocument::JsonFormat format = QJsonDocument::Indented) const;
    QJsonDocument payloadDocument() const;
    QByteArray signature() const;
    QString algorithm() const;

    //! Accepts "header.payload.signature", each part base64url JSON or plain JSON.
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
