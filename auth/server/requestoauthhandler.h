#pragma once

#include <Poco/Net/HTTPRequestHandler.h>

#include <QObject>
#include <QString>

namespace NimblaSDK {

/*!
 * One OAuth2 authorisation-code callback: takes the "code" and the "state" of
 * the query, redirects the browser to the callback page and reports both. The
 * state is checked by the session, not here.
 *
 * Lives for one request on a POCO worker thread.
 */
class RequestOAuthHandler : public QObject, public Poco::Net::HTTPRequestHandler
{
    Q_OBJECT

public:
    explicit RequestOAuthHandler(QObject *parent);

    void handleRequest(Poco::Net::HTTPServerRequest &request, Poco::Net::HTTPServerResponse &response) override;

Q_SIGNALS:
    void callbackError();
    void callbackSuccess(const QString &code, const QString &csrfToken);
};

} // namespace NimblaSDK
