#include "jwtcodec.h"

#include <QJsonObject>
#include <QStringList>

namespace NimblaSDK {

namespace {

bool isUsableObject(const QJsonDocument &doc)
{
    return !doc.isEmpty() && !doc.isNull() && doc.isObject();
}

bool parseJson(const QString &json, QJsonDocument *doc)
{
    QJsonParseError error;
    *doc = QJsonDocument::fromJson(json.toUtf8(), &error);
    return error.error == QJsonParseError::NoError;
}

QString fromBase64Url(const QString &part)
{
    return QString::fromUtf8(QByteArray::fromBase64(part.toUtf8(), QByteArray::Base64UrlEncoding));
}

} // namespace

JwtCodec::JwtCodec()
    : m_payload(QJsonDocument::fromJson("{}"))
{
    setAlgorithm(QStringLiteral("HS256"));
}

bool JwtCodec::isAlgorithmSupported(const QString &alg)
{
    static const QStringList supported = {QStringLiteral("HS256"), QStringLiteral("HS384"), QStringLiteral("HS512")};
    return supported.contains(alg, Qt::CaseInsensitive);
}

bool JwtCodec::setAlgorithm(const QString &alg)
{
    if (!isAlgorithmSupported(alg))
        return false;
    m_algorithm = alg;
    // The header text goes through the translator, as the token tooling always did. It once
    // went through trUtf8(); tr() reads its source as UTF-8 too, so the bytes are the same.
    //: Part of a token header, not a text for the player: keep it exactly as it is.
    const QString json = tr("{\"typ\": \"JWT\", \"alg\" : \"") + alg + tr("\"}");
    m_header = QJsonDocument::fromJson(json.toUtf8());
    return true;
}

bool JwtCodec::setHeader(const QJsonDocument &doc)
{
    if (!isUsableObject(doc))
        return false;
    const QString alg = doc.object().value(QStringLiteral("alg")).toString();
    if (!isAlgorithmSupported(alg))
        return false;
    m_header = doc;
    m_algorithm = alg;
    return true;
}

bool JwtCodec::setHeader(const QString &json)
{
    QJsonDocument doc;
    return parseJson(json, &doc) && setHeader(doc);
}

bool JwtCodec::setPayload(const QJsonDocument &doc)
{
    if (!isUsableObject(doc))
        return false;
    m_payload = doc;
    return true;
}

bool JwtCodec::setPayload(const QString &json)
{
    QJsonDocument doc;
    return parseJson(json, &doc) && setPayload(doc);
}

QString JwtCodec::headerJson(QJsonDocument::JsonFormat format) const
{
    return QString::fromUtf8(m_header.toJson(format));
}

QString JwtCodec::payloadJson(QJsonDocument::JsonFormat format) const
{
    return QString::fromUtf8(m_payload.toJson(format));
}

QJsonDocument JwtCodec::payloadDocument() const
{
    return m_payload;
}

QByteArray JwtCodec::signature() const
{
    return m_signature;
}

QString JwtCodec::algorithm() const
{
    return m_algorithm;
}

bool JwtCodec::decode(const QString &token)
{
    const QStringList parts = token.split(QLatin1Char('.'), Qt::KeepEmptyParts);
    if (parts.size() != 3)
        return false;

    JwtCodec decoded;
    const bool encoded = decoded.setHeader(fromBase64Url(parts.at(0))) && decoded.setPayload(fromBase64Url(parts.at(1)));
    if (!encoded && !(decoded.setHeader(parts.at(0)) && decoded.setPayload(parts.at(1))))
        return false;

    setHeader(decoded.headerJson());
    setPayload(decoded.payloadJson());
    m_signature = encoded ? QByteArray::fromBase64(parts.at(2).toUtf8(), QByteArray::Base64UrlEncoding)
                          : parts.at(2).toUtf8();
    m_encodedCache.clear();
    return true;
}

} // namespace NimblaSDK
