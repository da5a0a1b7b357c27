#include "steamcallback.h"
#include "steamclient.h"

namespace NimblaSDK {

QString SteamClient::libraryFileName()
{
    return QStringLiteral("libsteam_api.so");
}

const void *SteamCallback::_vtable()
{
    // The Itanium C++ ABI of the library's .so lays the virtual functions out
    // in declaration order.
    struct Table
    {
        decltype(&_run) run;
        decltype(&_runWithCall) runWithCall;
        decltype(&_callbackSizeBytes) callbackSizeBytes;
    };
    static const Table table{&_run, &_runWithCall, &_callbackSizeBytes};
    return &table;
}

} // namespace NimblaSDK
