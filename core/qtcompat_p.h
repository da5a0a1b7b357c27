#pragma once

// The few things that Qt 5.15 and Qt 6 spell differently, in one place: everywhere
// else the tree uses only what both versions have.

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

} // namespace NimblaSDK::QtCompat
