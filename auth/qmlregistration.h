#pragma once

#include "nimblaauth_export.h"

namespace NimblaSDK {

/*!
 * Makes the library's types known to QML under "import NimblaSDK 1.0":
 * AuthManager can be created there, the sessions only bound to and cast
 * (AuthManager.CurrentSession is one of them), UserAttributes only used
 * once the launcher hands one over. Call it once, before the
 * QML engine loads a document that imports the module.
 *
 * \code
 * NimblaSDK::registerQmlTypes();
 * QQmlApplicationEngine engine(QUrl(QStringLiteral("qrc:/main.qml")));
 * \endcode
 */
NIMBLAAUTH_EXPORT void registerQmlTypes();

} // namespace NimblaSDK
