#include "desktopservices_p.h"

#include <QLibrary>
#include <QUrl>

namespace NimblaSDK::DesktopServices {

namespace {

using OpenUrl = bool (*)(const QUrl &);

OpenUrl resolveOpenUrl()
{
    // Never unloaded: the application holds QtGui for as long as it runs.
    QLibrary gui(QStringLiteral(NIMBLA_QT_GUI_LIBRARY));
    // The static member's decorated name: the Itanium C++ ABI's (Linux, macOS, MinGW), then MSVC's.
    for (const char *name : {"_ZN16QDesktopServices7openUrlERK4QUrl", "?openUrl@QDesktopServices@@SA_NAEBVQUrl@@@Z"}) {
        if (const QFunctionPointer function = gui.resolve(name))
            return reinterpret_cast<OpenUrl>(function);
    }
    return nullptr;
}

} // namespace

bool openUrl(const QUrl &url)
{
    static const OpenUrl open = resolveOpenUrl();
    return open && open(url);
}

} // namespace NimblaSDK::DesktopServices
