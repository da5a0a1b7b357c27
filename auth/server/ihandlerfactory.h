#pragma once

#include <Poco/Net/HTTPRequestHandlerFactory.h>

#include <QObject>
#include <QString>

namespace NimblaSDK {

/*!
 * Chooses the handler of each request of the local server and carries the
 * handlers' results back to the thread that owns the factory.
 *
 * createRequestHandler() runs on POCO worker threads; the handlers it makes
 * live there too, so their signals reach the factory as queued calls and the
 * factory re-emits them on its own thread.
 *
 * Not installed: it exposes POCO, a private dependency. Exported only so that
 * the tests can drive the server directly.
 */
class IHandlerFactory : public QObject, public Poco::Net::HTTPRequestHandlerFactory
{
    Q_OBJECT

public:
    IHandlerFactory();
    ~IHandlerFactory() override;

Q_SIGNALS:
    void callbackSuccess(const QString &data, const QString &csrfToken);
    void callbackError();
};

} // namespace NimblaSDK
