#include "corelogging_p.h"

namespace NimblaSDK {

Q_LOGGING_CATEGORY(lcApplication, "NimblaSDK.Core.NApplication")
Q_LOGGING_CATEGORY(lcConfig, "NimblaSDK.Core.ConfigManager")
Q_LOGGING_CATEGORY(lcErrorLogger, "NimblaSDK.Core.ErrorLogger")
Q_LOGGING_CATEGORY(lcEventsTracker, "NimblaSDK.Core.EventsTracker")
Q_LOGGING_CATEGORY(lcRequester, "NimblaSDK.Core.HttpApiRequester")
Q_LOGGING_CATEGORY(lcJournal, "NimblaSDK.Core.Journal")
Q_LOGGING_CATEGORY(lcLogManager, "NimblaSDK.Core.LogManager")

} // namespace NimblaSDK
