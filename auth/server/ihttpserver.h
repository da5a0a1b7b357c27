#pragma once

#include <QObject>
#include <QString>

namespace NimblaSDK {

/*!
 * The local listener that receives the browser's redirect at the end of a
 * browser sign-in.
 *
 * Results leave only through the two signals, always on the thread that owns
 * the server; connect to them with Qt::QueuedConnection.
 *
 * \code
 * server->start();
 * const QString redirect = QStringLiteral("http://localhost:") + QString::number(server->port());
 * connect(server, &IHttpServer::callbackSuccess, this, &Session::onCallback, Qt::QueuedConnection);
 * \endcode
 */
class IHttpServer : public QObject
{
    Q_OBJECT

public:
    explicit IHttpServer(QObject *parent);
    ~IHttpServer() override;

    virtual void start() = 0;
    virtual void stop() = 0;
    //! The port the operating system gave the listener; 0 before the first start().
    virtual int port() = 0;

Q_SIGNALS:
    //! \a data is the token or the authorisation code; \a csrfToken the OAuth2 state, if any.
    void callbackSuccess(const QString &data, const QString &csrfToken = QString());
    //! The redirect reached the callback path but its result was missing or invalid.
    void callbackError();
};

} // namespace NimblaSDK
