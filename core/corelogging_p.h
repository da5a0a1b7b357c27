#pragma once

#include <QLoggingCategory>

namespace NimblaSDK {

// Every logging category of the core, declared once; the README lists their
// names for QT_LOGGING_RULES.

Q_DECLARE_LOGGING_CATEGORY(lcApplication) // "NimblaSDK.Core.NApplication"
Q_DECLARE_LOGGING_CATEGORY(lcConfig) // "NimblaSDK.Core.ConfigManager"
Q_DECLARE_LOGGING_CATEGORY(lcErrorLogger) // "NimblaSDK.Core.ErrorLogger"
Q_DECLARE_LOGGING_CATEGORY(lcEventsTracker) // "NimblaSDK.Core.EventsTracker"
Q_DECLARE_LOGGING_CATEGORY(lcRequester) // "NimblaSDK.Core.HttpApiRequester"
Q_DECLARE_LOGGING_CATEGORY(lcJournal) // "NimblaSDK.Core.Journal"
Q_DECLARE_LOGGING_CATEGORY(lcLogManager) // "NimblaSDK.Core.LogManager"

} // namespace NimblaSDK
