#include "nativesecurejsonobjectstorage.h"

#include "credentials.h"

#include <QJsonDocument>

namespace NimblaSDK {

NativeSecureJsonObjectStorage::NativeSecureJsonObjectStorage(const QString &storageKey)
    : m_storageKey(storageKey)
{
}

NativeSecureJsonObjectStorage::~NativeSecureJsonObjectStorage() = default;

bool NativeSecureJsonObjectStorage::save(const QJsonObject &object)
{
    const QString text = QString::fromUtf8(QJsonDocument(object).toJson());
    return writeCredential({storageKey(), QString(), text});
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

QString NativeSecureJsonObjectStorage::storageKey() const
{
    return m_storageKey;
}

} // namespace NimblaSDK
