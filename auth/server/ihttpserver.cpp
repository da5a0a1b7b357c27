#include "ihttpserver.h"

namespace NimblaSDK {

IHttpServer::IHttpServer(QObject *parent)
    : QObject(parent)
{
}

IHttpServer::~IHttpServer() = default;

} // namespace NimblaSDK
