// Runs against the private keyring of the test session (scripts/test.sh), never a mock:
// what is checked here is what a later start of the launcher would find in the vault.

#include "storage/credentials.h"
#include "storage/nativesecurejsonobjectstorage.h"

#include "testenvironment.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>
#include <QUuid>

#include <cstdio>

using NimblaSDK::CredentialRecord;
using NimblaSDK::NativeSecureJsonObjectStorage;

namespace {

QStringList g_messages;
// The process's threads once the application object exists, before any test has used the vault.
int g_threadsBeforeFirstUse = 0;

int threadCount()
{
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

QStringList fields(const CredentialRecord &record)
{
    return {record.target, record.userName, record.secret};
}

//! What secret-tool, another client of the keyring, prints.
QByteArray runSecretTool(const QString &arguments)
{
    QProcess tool;
    tool.start(QStringLiteral("secret-tool"), arguments.split(QLatin1Char(' ')));
    tool.waitForFinished(10000);
    return tool.readAllStandardOutput();
}

} // namespace

class TestSecureStorage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void nothingRunsBeforeTheFirstUse();

    void records_data();
    void records();
    void recordsAreSharedByKeyOnly();

    void credentialHelpersKeepUserAndSecret_data();
    void credentialHelpersKeepUserAndSecret();
    void queuedCallsReachTheVault_data();
    void queuedCallsReachTheVault();


private:
    QString freshKey(const QString &purpose);

    QStringList m_usedKeys;
};

QString TestSecureStorage::freshKey(const QString &purpose)
{
    // Other suites share the session's keyring; a key of our own per case keeps them apart. The
    // capital makes a key that is looked up in lower case a miss.
    const QString key = QStringLiteral("Tst-%1-%2").arg(purpose, QUuid::createUuid().toString(QUuid::WithoutBraces));
    m_usedKeys.append(key);
    return key;
}

void TestSecureStorage::initTestCase()
{
    NIMBLA_REQUIRE_ENVIRONMENT(TestEnvironment::hasSessionBus(), TestEnvironment::noSessionBus());
    NIMBLA_REQUIRE_ENVIRONMENT(!QStandardPaths::findExecutable(QStringLiteral("secret-tool")).isEmpty(),
                               "secret-tool (libsecret-tools) is needed as an independent client of the keyring");
    const QString key = freshKey(QStringLiteral("probe"));
    QVERIFY2(NimblaSDK::writeCredential({key, QString(), QStringLiteral("{}")}),
             "The keyring of the test session refuses to store");
}

void TestSecureStorage::cleanup()
{
    for (const QString &key : qAsConst(m_usedKeys))
        NimblaSDK::deleteCredential(key);
    m_usedKeys.clear();
}

void TestSecureStorage::nothingRunsBeforeTheFirstUse()
{
    // Connecting to the vault goes through GLib, which reads the environment without Qt's lock,
    // and a launcher may set its environment after creating the application object.
    QCOMPARE(g_threadsBeforeFirstUse, 1);
    QVERIFY(threadCount() > 1); // initTestCase used the vault
}

void TestSecureStorage::records_data()
{
    QTest::addColumn<QJsonObject>("object"); //!< saved, and read back
    QTest::addColumn<QString>("secret");     //!< the item's text in the vault
    QTest::addColumn<bool>("written");       //!< the text written as it is, by another client

    const auto saved = [](const char *tag, const QJsonObject &object) {
        QTest::newRow(tag) << object << QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Indented)) << false;
    };
    saved("saved-session",
          {{"type", "NimblaOAuth2"}, {"provider", QString()}, {"state", QJsonObject{{"refresh_token", "r.e.f-123"}}}});
    saved("non-ascii", {{"name", QStringLiteral("Жёлтый лис ünd 狐狸 🦊")},
                        {QStringLiteral("ключ"), QStringLiteral("\u00e9\u0301 combining")}});
    saved("json-escapes", {{"text", "quote \" backslash \\ tab\t newline\n nul-free"}});
    saved("nested-values",
          {{"list", QJsonArray{1, 2.5, true, QJsonValue::Null, "x"}}, {"deep", QJsonObject{{"a", QJsonObject{{"b", -7}}}}}});
    saved("empty-object", {});
    saved("long-refresh-token", {{"state", QJsonObject{{"refresh_token", QString(1200, QLatin1Char('t'))}}}});
    // What is not a JSON object reads as no record.
    const auto unparsable = [](const char *tag, const char *text) {
        QTest::newRow(tag) << QJsonObject() << QString(text) << true;
    };
    unparsable("array", "[1, 2]");
    unparsable("plain-text", "not json at all");
    unparsable("truncated-object", "{\n    \"type\": \"OAu");
    unparsable("empty-text", "");
}

void TestSecureStorage::records()
{
    QFETCH(QJsonObject, object);
    QFETCH(QString, secret);
    QFETCH(bool, written);
    const QString key = freshKey(QStringLiteral("record"));
    NativeSecureJsonObjectStorage storage(key);

    if (written)
        QVERIFY(NimblaSDK::writeCredential({key, QString(), secret}));
    else
        QVERIFY(storage.save(object));
    QCOMPARE(storage.read(), object);
    QCOMPARE(fields(NimblaSDK::readCredential(key)), (QStringList{key, QString(), secret}));
}

void TestSecureStorage::recordsAreSharedByKeyOnly()
{
    const QString key = freshKey(QStringLiteral("shared"));
    // A key that contains the other one must not match it either.
    const QString longer = key + QStringLiteral("Session");
    m_usedKeys.append(longer);
    NativeSecureJsonObjectStorage first(key);
    NativeSecureJsonObjectStorage second(key);
    NativeSecureJsonObjectStorage other(longer);
    const QJsonObject a{{"v", 1}};
    const QJsonObject b{{"w", 2}};
    const QJsonObject c{{"owner", "other"}};

    QVERIFY(first.save(a));
    QCOMPARE(second.read(), a);
    QCOMPARE(other.read(), QJsonObject());
    // The second save replaces the record: no trace of the first object's keys remains.
    QVERIFY(second.save(b));
    QVERIFY(other.save(c));
    QCOMPARE(first.read(), b);

    NativeSecureJsonObjectStorage copied(first);
    NativeSecureJsonObjectStorage moved(std::move(second));
    QCOMPARE(copied.read(), b);
    QCOMPARE(moved.read(), b);
    // Silent by contract, the absent record on the second call included.
    g_messages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &message) { g_messages.append(message); });
    copied.remove();
    moved.remove();
    qInstallMessageHandler(previous);
    QCOMPARE(g_messages, QStringList());
    QCOMPARE(first.read(), QJsonObject());
    QVERIFY(!NimblaSDK::deleteCredential(key));
    QCOMPARE(other.read(), c);
}

void TestSecureStorage::credentialHelpersKeepUserAndSecret_data()
{
    QTest::addColumn<QString>("userName");
    QTest::addColumn<QString>("secret");

    QTest::newRow("e-mail-and-password") << QStringLiteral("player@example.com") << QStringLiteral("pa55w0rd!");
    QTest::newRow("non-ascii") << QStringLiteral("Игрок ✓") << QStringLiteral("пароль 密码 🔑");
    QTest::newRow("json-looking-secret") << QStringLiteral("u") << QStringLiteral("{\"userName\":\"forged\"}");
    QTest::newRow("empty-user") << QString() << QStringLiteral("s");
    QTest::newRow("empty-secret") << QStringLiteral("u") << QString();
}

void TestSecureStorage::credentialHelpersKeepUserAndSecret()
{
    QFETCH(QString, userName);
    QFETCH(QString, secret);
    const QString key = freshKey(QStringLiteral("helpers"));

    QVERIFY(NimblaSDK::writeCredential({key, userName, secret}));
    QCOMPARE(fields(NimblaSDK::readCredential(key)), (QStringList{key, userName, secret}));
    QVERIFY(NimblaSDK::deleteCredential(key));
    QCOMPARE(fields(NimblaSDK::readCredential(key)), (QStringList{QString(), QString(), QString()}));
}

void TestSecureStorage::queuedCallsReachTheVault_data()
{
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QString>("expectedUser");

    // "write <user>" queues a write, "remove" a removal, in this order.
    QTest::newRow("write") << QStringList{"write first"} << "first";
    QTest::newRow("write-then-removal") << QStringList{"write first", "remove"} << "";
    QTest::newRow("removal-then-write") << QStringList{"remove", "write first"} << "first";
    QTest::newRow("two-writes") << QStringList{"write first", "write second"} << "second";
    QTest::newRow("after-a-waited-write") << QStringList{"write-waited first", "write second", "remove", "write third"}
                                          << "third";
}

void TestSecureStorage::queuedCallsReachTheVault()
{
    QFETCH(QStringList, calls);
    QFETCH(QString, expectedUser);
    const QString key = freshKey(QStringLiteral("queued"));

    for (const QString &call : qAsConst(calls)) {
        const QString user = call.section(QLatin1Char(' '), 1);
        if (call.startsWith(QLatin1String("write-waited")))
            QVERIFY(NimblaSDK::writeCredential({key, user, user + QStringLiteral("-secret")}));
        else if (call.startsWith(QLatin1String("write")))
            NimblaSDK::queueCredentialWrite({key, user, user + QStringLiteral("-secret")});
        else
            NimblaSDK::queueCredentialRemoval(key);
    }
    const QStringList expected = expectedUser.isEmpty()
            ? QStringList{QString(), QString(), QString()}
            : QStringList{key, expectedUser, expectedUser + QStringLiteral("-secret")};
    QCOMPARE(fields(NimblaSDK::readCredential(key)), expected);

    // The vault keeps the order of the calls: a waited call on another target ends after the queued ones.
    QCOMPARE(NimblaSDK::readCredential(freshKey(QStringLiteral("after-queue"))).target, QString());
    // What a later start of the launcher finds, seen by a client of its own: one item at most, whatever
    // the user names written.
    const QByteArray stored = runSecretTool("lookup xdg:schema org.nimbla.Credential target " + key);
    QCOMPARE(QJsonDocument::fromJson(stored)["userName"].toString(), expectedUser);
    QCOMPARE(runSecretTool("search --all target " + key).count("\nsecret = "), expectedUser.isEmpty() ? 0 : 1);
    QCOMPARE(fields(NimblaSDK::readCredential(key)), expected);
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    g_threadsBeforeFirstUse = threadCount();
    TestSecureStorage test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_securestorage.moc"
