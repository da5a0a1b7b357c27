#include "widgetsettingshandler.h"

namespace NimblaEmulator {

WidgetSettingsHandler::WidgetSettingsHandler(const EmulatorContext& context)
    : _context(context)
{
}

void WidgetSettingsHandler::handle(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    exchange.sendJson(project->widgetSettingsStatus, project->widgetSettings);
}

} // namespace NimblaEmulator
