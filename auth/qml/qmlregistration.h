#pragma once

#include "nimblaauthqml_export.h"

namespace NimblaSDK {

/*!
 * Makes the library's types known to QML under "import NimblaSDK.Auth 1.0",
 * as the installed QML module does: AuthManager can be created there, the
 * sessions only bound to and cast (AuthManager.CurrentSession is one of them),
 * UserAttributes only used once the launcher hands one over.
 *
 * A launcher that finds the installed module in its QML import path needs no
 * call. One that links the library statically, or ships without the module,
 * links NimblaSDK::AuthQml and calls this once, before the QML engine loads a
 * document that imports the module. It replaces the module's plugin and cannot
 * go beside it: QML refuses the plugin of a module whose types C++ has
 * registered already ("Namespace 'NimblaSDK.Auth' has already been used for
 * type registration").
 *
 * \code
 * NimblaSDK::registerQmlTypes();
 * QQmlApplicationEngine engine(QUrl(QStringLiteral("qrc:/main.qml")));
 * \endcode
 */
NIMBLAAUTHQML_EXPORT void registerQmlTypes();

} // namespace NimblaSDK
