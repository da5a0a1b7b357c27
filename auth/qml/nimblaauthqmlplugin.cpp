// The module's plugin on Qt 5, which has no qt_add_qml_module to generate it: QML loads it at
// "import NimblaSDK.Auth 1.0", through the qmldir beside it.
#include "qmlregistration.h"

#include <QQmlExtensionPlugin>

class NimblaAuthQmlPlugin : public QQmlExtensionPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlExtensionInterface_iid)

public:
    void registerTypes(const char *uri) override
    {
        Q_ASSERT(qstrcmp(uri, "NimblaSDK.Auth") == 0);
        NimblaSDK::registerQmlTypes();
    }
};

#include "nimblaauthqmlplugin.moc"
