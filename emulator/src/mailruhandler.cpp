#include "mailruhandler.h"

#include <Poco/Exception.h>
#include <Poco/URI.h>

namespace NimblaEmulator {

namespace {

bool isHttpAddress(const std::string& url)
{
    try
    {
        const Poco::URI uri(url);
        return (uri.getScheme() == "http" || uri.getScheme() == "https") && !uri.getHost().empty();
    }
    catch (const Poco::Exception&)
    {
        return false;
    }
}

} // namespace

MailruHandler::MailruHandler(const EmulatorContext& context)
    : _context(context)
{
}

void MailruHandler::handleLogin(HttpExchange& exchange) const
{
    const Seed::Project* project = _context.requireProject(exchange);
    if (!project)
        return;
    const std::string uid = exchange.query("uid").value_or(std::string());
    const Seed::MailruUser* user = _context.seed().findMailruUser(uid);
    if (!user || exchange.query("ticket").value_or(std::string()) != user->ticket)
    {
        exchange.sendError(401, "Unknown game-centre user or ticket");
        return;
    }
    if (user->behaviour == "login-fails")
    {
        exchange.sendError(500, "Game-centre sign-in failed");
        return;
    }

    // Tests may send the client to another landing address, one that is not
    // served at all for instance.
    const std::string landing = exchange.query("landing").value_or(std::string());
    Poco::URI target(isHttpAddress(landing) ? landing : _context.layout().url(UrlLayout::MailruLanding, project->id));
    target.addQueryParameter("uid", uid);
    if (user->behaviour != "no-token")
        target.addQueryParameter("token", _context.issuer().issue(user->account, project->id));
    exchange.redirect(target.toString());
}

void MailruHandler::handleLanding(HttpExchange& exchange) const
{
    if (!_context.requireProject(exchange))
        return;
    const Seed::MailruUser* user = _context.seed().findMailruUser(exchange.query("uid").value_or(std::string()));
    if (!user)
    {
        exchange.sendHtml(404, "Unknown player", "No game-centre player is signing in here.");
        return;
    }
    if (user->behaviour == "target-fails")
    {
        exchange.sendError(503, "Game-centre landing page is unavailable");
        return;
    }
    exchange.sendHtml(200, "Signed in", "You came from the game centre and are signed in.");
}

} // namespace NimblaEmulator
