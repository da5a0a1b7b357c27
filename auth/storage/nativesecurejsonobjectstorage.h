#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

#include "isecurejsonobjectstorage.h"

#include <QJsonObject>
#include <QString>

namespace NimblaSDK {

/*!
 * Keeps one JSON object in the platform's credential vault (the Windows
 * Credential Manager, or the Secret Service on Linux) under the storage key.
 * Instances built with the same key share one record.
 *
 * \code
 * NimblaSDK::NativeSecureJsonObjectStorage storage(QStringLiteral("%1Session").arg(accountName));
 * if (!storage.save(state))
 *     qWarning() << "The session will not be remembered";
 * const QJsonObject restored = storage.read(); // empty when nothing was saved
 * \endcode
 *
 * On the GUI thread, prefer saveLater() and removeLater(): a vault call is
 * several round trips to the keyring daemon and can take tens of milliseconds.
 */
class NIMBLAAUTH_EXPORT NativeSecureJsonObjectStorage : public ISecureJsonObjectStorage
{
public:
    //! Touches nothing in the vault.
    explicit NativeSecureJsonObjectStorage(const QString &storageKey);
    //!@{
    //! A copy names the same record as \a other; nothing in the vault is touched.
    NativeSecureJsonObjectStorage(const NativeSecureJsonObjectStorage &other) = default;
    NativeSecureJsonObjectStorage(NativeSecureJsonObjectStorage &&other) = default;
    NativeSecureJsonObjectStorage &operator=(const NativeSecureJsonObjectStorage &other) = default;
    NativeSecureJsonObjectStorage &operator=(NativeSecureJsonObjectStorage &&other) = default;
    //!@}
    ~NativeSecureJsonObjectStorage() override;

    //! Stores the object's indented JSON text, replacing the record; false when the vault refuses.
    bool save(const QJsonObject &object) override;
    //! The stored object; empty when there is none or the stored text is not a JSON object.
    QJsonObject read() override;
    //! Deletes the record; an absent record is not an error.
    void remove() override;

    //! As save(), off the calling thread: a refusal gives the same warnings later,
    //! and a read() in the meantime already answers with \a object.
    void saveLater(const QJsonObject &object);
    //! As remove(), off the calling thread; a read() in the meantime answers with nothing.
    void removeLater();

protected:
    //! The vault's target name; every operation asks for it through this call.
    virtual QString storageKey() const;

private:
    QString m_storageKey;
};

} // namespace NimblaSDK
