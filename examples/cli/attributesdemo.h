#pragma once

#include <QObject>
#include <QSharedPointer>
#include <QString>

namespace NimblaSDK {
class HttpApiRequester;
class UserAttributes;
}

/*
 * Writes an attribute of the signed-in player and reads it back through a
 * second client, the way a launcher's profile page would.
 */
class AttributesDemo : public QObject
{
    Q_OBJECT

public:
    explicit AttributesDemo(QObject *parent = nullptr);

    //! Uses the player's \a jwt and \a userId in \a publisherProjectId; finished() reports the outcome.
    void run(const QString &jwt, const QString &userId, int publisherProjectId);

    //! The attribute's key and the value it writes.
    static QString key();
    static QString written();

Q_SIGNALS:
    //! \a read: the value read back; \a failure: why it could not be written or read, empty on success.
    void finished(const QString &read, const QString &failure);

private:
    NimblaSDK::UserAttributes *_client(const QString &userId, int publisherProjectId);
    void _read(const QString &userId, int publisherProjectId);

    QSharedPointer<NimblaSDK::HttpApiRequester> m_requester;
};
