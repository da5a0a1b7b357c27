#pragma once

#include <Poco/Net/HTTPRequestHandler.h>

#include <QObject>
#include <QString>

namespace NimblaSDK {

/*!
 * One JSON Web Token callback: validates the "token" of the query with the
 * login service, redirects the browser to the callback page when it is valid
 * and reports the outcome.
 *
 * Lives for one request on a POCO worker thread and blocks it while the token
 * is validated.
 */
class RequestHandler : public QObject, public Poco::Net::HTTPRequestHandler
{
    Q_OBJECT

public:
    explicit RequestHandler(QObject *parent);

    void handleRequest(Poco::Net::HTTPServerRequest &request, Poco::Net::HTTPServerResponse &response) override;

Q_SIGNALS:
    void getJWTsuccess(const QString &jwt);
    void getJWTfailed();
};

} // namespace NimblaSDK
