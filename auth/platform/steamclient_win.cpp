#include "steamcallback.h"
#include "steamclient.h"

namespace NimblaSDK {

QString SteamClient::libraryFileName()
{
    return QStringLiteral("steam_api64.dll");
}

const void *SteamCallback::_vtable()
{
    // MSVC, which builds the library's DLL, places the two Run overloads in
    // the opposite order to their declaration.
    struct Table
    {
        decltype(&_runWithCall) runWithCall;
        decltype(&_run) run;
        decltype(&_callbackSizeBytes) callbackSizeBytes;
    };
    static const Table table{&_runWithCall, &_run, &_callbackSizeBytes};
    return &table;
}

} // namespace NimblaSDK
