#pragma once

#include "nimblaauth_export.h"

#include <QLocale>

namespace NimblaSDK {

/*!
 * Shows the library's texts for the player (the sessions' error texts) in
 * the language of \a locale, by installing the library's own translation
 * into the application. Returns false when the library has no translation
 * for that language, English (its own) included, or when there is no
 * application object yet; the texts then stay in English. Call it again
 * when the player picks another language: each call replaces the previous one.
 *
 * \code
 * QGuiApplication app(argc, argv);
 * NimblaSDK::installTranslator(); // the system's language; or QLocale(QLocale::Russian)
 * \endcode
 *
 * The compiled catalogues are also installed as
 * `share/NimblaAuth/translations/nimblaauth_<language>.qm` (the Qt 6 build's
 * in `share/NimblaAuth-qt6/translations`), for a launcher that loads its
 * translations itself.
 */
NIMBLAAUTH_EXPORT bool installTranslator(const QLocale &locale = QLocale());

} // namespace NimblaSDK
