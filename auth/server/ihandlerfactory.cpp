#include "ihandlerfactory.h"

namespace NimblaSDK {

IHandlerFactory::IHandlerFactory()
    : QObject(nullptr)
{
}

IHandlerFactory::~IHandlerFactory() = default;

} // namespace NimblaSDK
