#include "nativesecurejsonobjectstorage.h"

#include "credentials.h"

#include <QJsonDocument>

namespace NimblaSDK {

NativeSecureJsonObjectStorage::NativeSecureJsonObjectStorage(const QString &storageKey)
    : m_storageKey(storageKey)
{
    // The record is usually read soon after, on the GUI thread: the vault's connection
    // is made meanwhile.
    prepareCredentials();
}

NativeSecureJsonObjectStorage::~NativeSecureJsonObjectStorage() = default;

namespace {

CredentialRecord recordOf(const QString &target, const QJsonObject &object)
{
    return {target, QString(), QString::fromUtf8(QJsonDocument(object).toJson())};
}

} // namespace

bool NativeSecureJsonObjectStorage::save(const QJsonObject &object)
{
    return writeCredential(recordOf(storageKey(), object));
}

void NativeSecureJsonObjectStorage::saveLater(const QJsonObject &object)
{
    queueCredentialWrite(recordOf(storageKey(), object));
}

QJsonObject NativeSecureJsonObjectStorage::read()
{
    const CredentialRecord record = readCredential(storageKey());
    return QJsonDocument::fromJson(record.secret.toUtf8()).object();
}

void NativeSecureJsonObjectStorage::remove()
{
    // A record that is already gone is the outcome the caller wants.
    deleteCredential(storageKey());
}

void NativeSecureJsonObjectStorage::removeLater()
{
    queueCredentialRemoval(storageKey());
}

QString NativeSecureJsonObjectStorage::storageKey() const
{
    return m_storageKey;
}

} // namespace NimblaSDK
