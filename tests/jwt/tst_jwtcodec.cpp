#include "jwt/jwtcodec.h"

#include <QJsonObject>
#include <QtTest>

using NimblaSDK::JwtCodec;

namespace {

QString b64(const QByteArray &json)
{
    return QString::fromLatin1(json.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

const QByteArray Hs256Header = R"({"alg":"HS256","typ":"JWT"})";
const QByteArray Payload = R"({"sub":"42","name":"zoe"})";

} // namespace

class TestJwtCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decode_data();
    void decode();
    void algorithms_data();
    void algorithms();
    void headerAndPayloadSetters_data();
    void headerAndPayloadSetters();
};

void TestJwtCodec::decode_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<QString>("subject"); //!< empty: the token is refused
    QTest::addColumn<QByteArray>("signature");

    const QString encoded = b64(Hs256Header) + '.' + b64(Payload);
    QTest::newRow("base64url, unpadded") << encoded + ".c2ln" << "42" << QByteArray("sig");
    QTest::newRow("base64url, padded")
            << QString::fromLatin1(Hs256Header.toBase64(QByteArray::Base64UrlEncoding)) + '.'
                       + QString::fromLatin1(Payload.toBase64(QByteArray::Base64UrlEncoding)) + ".c2ln"
            << "42" << QByteArray("sig");
    QTest::newRow("empty signature") << encoded + '.' << "42" << QByteArray();
    QTest::newRow("plain JSON parts") << QString::fromLatin1(Hs256Header + '.' + Payload + ".x") << "42" << QByteArray("x");
    QTest::newRow("HS512 in lower case") << b64(R"({"alg":"hs512"})") + '.' + b64(Payload) + ".c2ln" << "42"
                                         << QByteArray("sig");
    const auto refused = [](const char *tag, const QString &token) { QTest::newRow(tag) << token << "" << QByteArray(); };
    refused("two parts", encoded);
    refused("alg none", b64(R"({"alg":"none"})") + '.' + b64(Payload) + ".eA");
    refused("four parts", encoded + ".a.b");
    refused("empty", QString());
    refused("RS256 header", b64(R"({"alg":"RS256"})") + '.' + b64(Payload) + ".x");
    refused("header without alg", b64(R"({"typ":"JWT"})") + '.' + b64(Payload) + ".x");
    refused("header is an array", b64(R"(["HS256"])") + '.' + b64(Payload) + ".x");
    refused("payload is an array", b64(Hs256Header) + '.' + b64("[1,2]") + ".x");
    refused("payload is not JSON", b64(Hs256Header) + '.' + b64("{sub:") + ".x");
    refused("empty payload", b64(Hs256Header) + "..x");
}

void TestJwtCodec::decode()
{
    QFETCH(QString, token);
    QFETCH(QString, subject);
    QFETCH(QByteArray, signature);

    // A refused token leaves the one decoded before in place.
    JwtCodec codec;
    QVERIFY(codec.decode(b64(R"({"alg":"HS384"})") + '.' + b64(R"({"sub":"previous"})") + ".cHJldg"));
    QCOMPARE(codec.decode(token), !subject.isEmpty());
    QCOMPARE(codec.payloadDocument().object().value("sub").toString(), subject.isEmpty() ? "previous" : subject);
    QCOMPARE(codec.signature(), subject.isEmpty() ? QByteArray("prev") : signature);
    if (subject.isEmpty())
        QCOMPARE(codec.algorithm(), QStringLiteral("HS384"));
}

void TestJwtCodec::algorithms_data()
{
    QTest::addColumn<QString>("alg");
    QTest::addColumn<bool>("supported");

    QTest::newRow("HS256") << "HS256" << true;
    QTest::newRow("HS384") << "HS384" << true;
    QTest::newRow("hs512") << "hs512" << true;
    QTest::newRow("RS256") << "RS256" << false;
    QTest::newRow("none") << "none" << false;
    QTest::newRow("empty") << "" << false;
}

void TestJwtCodec::algorithms()
{
    QFETCH(QString, alg);
    QFETCH(bool, supported);

    JwtCodec codec;
    QCOMPARE(JwtCodec::isAlgorithmSupported(alg), supported);
    QCOMPARE(codec.setAlgorithm(alg), supported);
    const QString expectedAlg = supported ? alg : QStringLiteral("HS256");
    QCOMPARE(codec.algorithm(), expectedAlg);
    // Byte for byte, on every Qt version: the header text once went through trUtf8().
    QCOMPARE(codec.headerJson(), QStringLiteral("{\n    \"alg\": \"%1\",\n    \"typ\": \"JWT\"\n}\n").arg(expectedAlg));
    QCOMPARE(codec.headerJson(QJsonDocument::Compact), QStringLiteral(R"({"alg":"%1","typ":"JWT"})").arg(expectedAlg));
}

void TestJwtCodec::headerAndPayloadSetters_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<bool>("header");
    QTest::addColumn<bool>("payload");

    QTest::newRow("HS384 header") << R"({"alg":"HS384"})" << true << true;
    QTest::newRow("object without alg") << R"({"sub":"1"})" << false << true;
    QTest::newRow("empty object") << "{}" << false << true;
    QTest::newRow("array") << "[]" << false << false;
    QTest::newRow("broken") << R"({"alg":)" << false << false;
    QTest::newRow("empty text") << "" << false << false;
}

void TestJwtCodec::headerAndPayloadSetters()
{
    QFETCH(QString, json);
    QFETCH(bool, header);
    QFETCH(bool, payload);

    JwtCodec codec;
    const QString headerBefore = codec.headerJson();
    const QString payloadBefore = codec.payloadJson();
    QCOMPARE(codec.setHeader(json), header);
    QCOMPARE(codec.setPayload(json), payload);
    if (!header)
        QCOMPARE(codec.headerJson(), headerBefore);
    if (!payload)
        QCOMPARE(codec.payloadJson(), payloadBefore);
}

QTEST_GUILESS_MAIN(TestJwtCodec)
#include "tst_jwtcodec.moc"
