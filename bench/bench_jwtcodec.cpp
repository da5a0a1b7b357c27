// Cost of taking a token apart, which every sign-in and every refresh pays once.
#include "jwt/jwtcodec.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using NimblaSDK::JwtCodec;

class BenchJwtCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decode_data();
    void decode();
};

void BenchJwtCodec::decode_data()
{
    QTest::addColumn<QString>("token");

    const auto part = [](const QJsonObject &object) {
        return QString::fromLatin1(QJsonDocument(object).toJson(QJsonDocument::Compact)
                                           .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
    };
    const QString header = part({{"alg", "HS256"}, {"typ", "JWT"}});
    QJsonObject claims{{"nimbla_login_project_id", "nimbla-demo-project"}, {"email", "alice@example.com"},
                       {"sub", "7d1f6a52-0001-4c1e-9a11-a11ce0000001"}, {"username", "alice"},
                       {"nimbla_login_access_key", "alice-access-key"}, {"publisher_id", 12345}};
    QTest::newRow("typical claims") << header + '.' + part(claims) + ".c2lnbmF0dXJlc2lnbmF0dXJlc2lnbmF0dXJl";
    for (int i = 0; i < 200; ++i)
        claims.insert(QStringLiteral("extra_claim_%1").arg(i), QStringLiteral("value %1").arg(i));
    QTest::newRow("two hundred extra claims") << header + '.' + part(claims) + ".c2ln";
}

void BenchJwtCodec::decode()
{
    QFETCH(QString, token);
    QBENCHMARK {
        JwtCodec codec;
        codec.decode(token);
    }
}

QTEST_GUILESS_MAIN(BenchJwtCodec)
#include "bench_jwtcodec.moc"
