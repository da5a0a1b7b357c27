#pragma once

class QUrl;

namespace NimblaSDK::DesktopServices {

/*
 * QDesktopServices::openUrl(), taken at the first call from the QtGui that the
 * application has loaded: the desktop's browser, or the handler the
 * application set for the address's scheme. NimblaAuth does not link QtGui,
 * which cost every launcher without it 4 MB and half a millisecond at start;
 * an application that can open a browser has a QGuiApplication, and so QtGui
 * loaded already; a console application loads it here, and QtGui then says
 * that it has no desktop. False when the address was not opened, or when
 * QtGui cannot be found.
 */
bool openUrl(const QUrl &url);

} // namespace NimblaSDK::DesktopServices
