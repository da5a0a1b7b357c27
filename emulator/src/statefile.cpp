#include "statefile.h"

#include <Poco/Exception.h>
#include <Poco/File.h>
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include <fstream>
#include <iostream>
#include <sstream>

namespace NimblaEmulator {

namespace {

using Poco::JSON::Array;
using Poco::JSON::Object;

Object::Ptr grantsToJson(const std::map<std::string, EmulatorState::Grant>& grants)
{
    Object::Ptr object = new Object;
    for (const auto& [key, grant] : grants)
    {
        Object::Ptr entry = new Object;
        entry->set("projectId", grant.projectId);
        entry->set("clientId", grant.clientId);
        entry->set("login", grant.login);
        entry->set("redirectUri", grant.redirectUri);
        entry->set("forgedToken", grant.forgedToken);
        entry->set("base64Tokens", grant.base64Tokens);
        entry->set("codeChallenge", grant.codeChallenge);
        object->set(key, entry);
    }
    return object;
}

std::map<std::string, EmulatorState::Grant> grantsFromJson(const Object::Ptr& object)
{
    std::map<std::string, EmulatorState::Grant> grants;
    if (!object)
        return grants;
    for (const auto& key : object->getNames())
    {
        const Object::Ptr entry = object->getObject(key);
        if (!entry)
            throw StateFile::Error("\"" + key + "\" is not an object");
        EmulatorState::Grant grant;
        grant.projectId = entry->getValue<std::string>("projectId");
        grant.clientId = entry->getValue<int>("clientId");
        grant.login = entry->getValue<std::string>("login");
        grant.redirectUri = entry->getValue<std::string>("redirectUri");
        grant.forgedToken = entry->getValue<bool>("forgedToken");
        // The state file of an older emulator has neither: hex tokens, no challenge.
        grant.base64Tokens = entry->optValue<bool>("base64Tokens", false);
        grant.codeChallenge = entry->optValue<std::string>("codeChallenge", std::string());
        grants[key] = grant;
    }
    return grants;
}

} // namespace

StateFile::StateFile(std::string path)
    : _path(std::move(path))
{
}

void StateFile::load(EmulatorState& state) const
{
    if (!Poco::File(_path).exists())
        return;
    std::ifstream in(_path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in)
        throw Error("cannot be read");
    try
    {
        Poco::JSON::Parser parser;
        const Object::Ptr root = parser.parse(text.str()).extract<Object::Ptr>();
        if (!root)
            throw Error("the top level must be a JSON object");
        EmulatorState::Snapshot snapshot;
        snapshot.codes = grantsFromJson(root->getObject("codes"));
        snapshot.refreshTokens = grantsFromJson(root->getObject("refreshTokens"));
        if (const Array::Ptr used = root->getArray("usedOtps"))
        {
            for (std::size_t i = 0; i < used->size(); ++i)
                snapshot.usedOtps.push_back(used->getElement<std::string>(static_cast<unsigned>(i)));
        }
        state.restore(snapshot);
    }
    catch (const Poco::Exception& e)
    {
        throw Error("not a state file: " + e.displayText());
    }
    catch (const Error&)
    {
        throw;
    }
    catch (const std::exception& e)
    {
        throw Error(std::string("not a state file: ") + e.what());
    }
}

void StateFile::save(EmulatorState& state)
{
    std::lock_guard<std::mutex> lock(_mutex);
    const EmulatorState::Snapshot snapshot = state.snapshot();
    Object::Ptr root = new Object(Poco::JSON_PRESERVE_KEY_ORDER);
    root->set("codes", grantsToJson(snapshot.codes));
    root->set("refreshTokens", grantsToJson(snapshot.refreshTokens));
    Array::Ptr used = new Array;
    for (const auto& otp : snapshot.usedOtps)
        used->add(otp);
    root->set("usedOtps", used);

    const std::string temporary = _path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        root->stringify(out, 2);
        out.flush();
        if (!out)
        {
            std::cerr << "nimbla-login-emulator: --state " << _path << ": cannot be written" << std::endl;
            return;
        }
    }
    try
    {
        Poco::File(temporary).renameTo(_path);
    }
    catch (const Poco::Exception& e)
    {
        std::cerr << "nimbla-login-emulator: --state " << _path << ": " << e.displayText() << std::endl;
    }
}

} // namespace NimblaEmulator
