#include "sdksettings.h"

#include <QCoreApplication>
#include <QEvent>
#include <QSettings>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace NimblaSDK {

namespace {

const char RememberMeKey[] = "rememberMe";

// Without this, a value missing from the account's file is looked up in the organisation's
// file, which on Linux is where a value written for no account at all ends up; the registry
// on Windows has no such fallback.
std::unique_ptr<QSettings> openSettings(const QString &appAccountName)
{
    auto settings = std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                                QStringLiteral("NIMBLA"), appAccountName);
    settings->setFallbacksEnabled(false);
    return settings;
}

} // namespace

/*
 * Writes the settings file on a thread of its own. QSettings ends every write with an
 * fdatasync, which held the GUI thread for up to 99 ms during a sign-in: in
 * settingsSync(), and in the write that QSettings schedules through an event to the
 * thread that owns it after every change. The QSettings object is created, changed,
 * synced and destroyed on this thread only, so its own scheduled writes happen here too.
 */
class SDKSettings::Writer
{
public:
    Writer()
        : m_thread([this] { run(); })
    {
    }

    //! Ends after every queued step, the last write of the file included.
    ~Writer()
    {
        post([](std::unique_ptr<QSettings> &settings) { settings.reset(); });
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stopping = true;
        }
        m_wake.notify_one();
        m_thread.join();
    }

    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    void post(std::function<void(std::unique_ptr<QSettings> &)> step)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_steps.push_back(std::move(step));
        }
        m_wake.notify_one();
    }

private:
    void run()
    {
        std::unique_ptr<QSettings> settings;
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_wake.wait(lock, [this] { return m_stopping || !m_steps.empty(); });
            if (m_steps.empty())
                return;
            while (!m_steps.empty()) {
                const auto step = std::move(m_steps.front());
                m_steps.pop_front();
                lock.unlock();
                step(settings);
                lock.lock();
            }
            // No event loop runs here: the write that QSettings scheduled for itself is made
            // once the changes queued so far are in, as its own thread's loop would.
            if (settings) {
                lock.unlock();
                QCoreApplication::sendPostedEvents(settings.get(), QEvent::UpdateRequest);
                lock.lock();
            }
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void(std::unique_ptr<QSettings> &)>> m_steps;
    bool m_stopping = false;
    std::thread m_thread;
};

SDKSettings::SDKSettings()
    : m_writer(std::make_unique<Writer>())
{
}

SDKSettings::~SDKSettings() = default;

void SDKSettings::open(const QString &appAccountName)
{
    // An account opened before is still known here, and may still have changes on their way
    // to its file: reading that file now could write them from this thread.
    if (!m_accounts.contains(appAccountName)) {
        const std::unique_ptr<QSettings> reader = openSettings(appAccountName);
        QVariantMap &values = m_accounts[appAccountName];
        const QStringList keys = reader->allKeys();
        for (const QString &key : keys)
            values.insert(key, reader->value(key));
    }
    m_account = appAccountName;
    // Replacing the object writes the previous account's file first.
    m_writer->post([appAccountName](std::unique_ptr<QSettings> &settings) { settings = openSettings(appAccountName); });
}

bool SDKSettings::rememberMe() const
{
    return value(RememberMeKey).toBool();
}

void SDKSettings::setRememberMe(bool rememberMe)
{
    setValue(RememberMeKey, rememberMe);
}

QString SDKSettings::getJWT() const { return value("jwt").toString(); }
void SDKSettings::setJWT(const QString &jwt) { setValue("jwt", jwt); }
QString SDKSettings::token() const { return value("token").toString(); }
void SDKSettings::setToken(const QString &token) { setValue("token", token); }
QString SDKSettings::userId() const { return value("userId").toString(); }
void SDKSettings::setUserId(const QString &userId) { setValue("userId", userId); }
QString SDKSettings::userName() const { return value("userName").toString(); }
void SDKSettings::setUserName(const QString &userName) { setValue("userName", userName); }
QString SDKSettings::login() const { return value("login").toString(); }
void SDKSettings::setLogin(const QString &login) { setValue("login", login); }
QString SDKSettings::accessKey() const { return value("accessKey").toString(); }
void SDKSettings::setAccessKey(const QString &accessKey) { setValue("accessKey", accessKey); }
QString SDKSettings::externalUserId() const { return value("externalUserId").toString(); }
void SDKSettings::setExternalUserId(const QString &externalUserId) { setValue("externalUserId", externalUserId); }
QString SDKSettings::playfabId() const { return value("playfabId").toString(); }
void SDKSettings::setPlayfabId(const QString &playfabId) { setValue("playfabId", playfabId); }
QString SDKSettings::playfabToken() const { return value("playfabToken").toString(); }
void SDKSettings::setPlayfabToken(const QString &playfabToken) { setValue("playfabToken", playfabToken); }
QString SDKSettings::steamSessionticket() const { return value("steamSessionTicket").toString(); }
void SDKSettings::setSteamSessionticket(const QString &ticket) { setValue("steamSessionTicket", ticket); }

void SDKSettings::settingsSync()
{
    m_writer->post([](std::unique_ptr<QSettings> &settings) {
        if (settings)
            settings->sync();
    });
}

QVariant SDKSettings::value(const char *key) const
{
    return m_accounts.value(m_account).value(QLatin1String(key));
}

void SDKSettings::setValue(const char *key, const QVariant &value)
{
    const QString name = QLatin1String(key);
    m_accounts[m_account].insert(name, value);
    m_writer->post([name, value](std::unique_ptr<QSettings> &settings) {
        if (settings)
            settings->setValue(name, value);
    });
}

} // namespace NimblaSDK
