#pragma once

#include <QByteArray>
#include <QObject>

class QNetworkReply;

namespace NimblaSDK {

/*!
 * Asks the login service whether a JWT is genuine.
 *
 * The two paths accept different answers on purpose: the blocking one takes
 * any reply without a network error as valid, the asynchronous one only
 * "204 No Content".
 */
class JWTchecker : public QObject
{
    Q_OBJECT

public:
    explicit JWTchecker(QObject *parent);

    //! Spins a local event loop until the service answers; safe on any thread.
    bool validateJWT(const QString &jwt);
    void validateJWTAsync(const QString &jwt);

Q_SIGNALS:
    void jwtValidated(bool valid);

private:
    QByteArray _makeRequestBody(const QString &jwt);
    QNetworkReply *_sendRequest(const QString &jwt);
};

} // namespace NimblaSDK
