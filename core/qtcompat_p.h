#pragma once

// The few things that Qt 5.15 and Qt 6 spell differently, in one place: everywhere
// else the tree uses only what both versions have.

#include <QCoreApplication>
#include <QMetaType>
#include <QtGlobal>

namespace NimblaSDK::QtCompat {

//! The id of the meta-type registered under \a name, or QMetaType::UnknownType.
inline int metaTypeId(const char *name)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return QMetaType::fromName(name).id();
#else
    return QMetaType::type(name);
#endif
}

//! Called before the application is made: scales to the screen's pixel density, as Qt 6 always does.
inline void enableHighDpiScaling()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
#endif
}

//! Called before the first QML engine: the plain Qt Quick Controls style, unless QT_QUICK_CONTROLS_STYLE
//! names one. It is Qt 5's default, "Default"; Qt 6 calls it "Basic" and takes the platform's style instead.
inline void usePlainControlsStyle()
{
    if (!qEnvironmentVariableIsSet("QT_QUICK_CONTROLS_STYLE"))
        qputenv("QT_QUICK_CONTROLS_STYLE", QT_VERSION >= QT_VERSION_CHECK(6, 0, 0) ? "Basic" : "Default");
}

} // namespace NimblaSDK::QtCompat
