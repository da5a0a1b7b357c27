#pragma once

#include <NimblaSDK/Auth/nimblaauth_export.h>

class QJsonObject;

/*!
 * One JSON object kept in the user's credential vault under a fixed key.
 * Failures are values: save() answers false, read() an empty object, and
 * remove() is silent, so that a missing record is never an error.
 */
class NIMBLAAUTH_EXPORT ISecureJsonObjectStorage
{
public:
    virtual ~ISecureJsonObjectStorage();

    //! Stores \a object, replacing the record; false when the vault refuses it.
    virtual bool save(const QJsonObject &object) = 0;
    //! The stored object; empty when there is none or it cannot be read.
    virtual QJsonObject read() = 0;
    //! Deletes the record; an absent one is not an error.
    virtual void remove() = 0;
};
