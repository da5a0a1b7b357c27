// How long each sign-in method holds the main thread, where a launcher's
// interface runs. A 1 ms probe timer ticks on the main thread throughout a
// sign-in, from the session's construction to a while after its deletion;
// the time a tick comes late is time in which the interface could not paint
// or answer the player.
//
// Runs against the login-service emulator and the session's real keyring:
// start it inside a D-Bus session with an unlocked Secret Service, as
// scripts/bench.sh does.
#include "abstractsession.h"
#include "attributes/userattributes.h"
#include "authmanager.h"
#include "httpapirequester.h"
#include "jwt/jwtcodec.h"
#include "napplication.h"
#include "sessions/jwtloginsession.h"
#include "sessions/mailrusession.h"
#include "sessions/nimblaloginoauthsession.h"
#include "sessions/nimblaloginsession.h"
#include "sessions/playfabloginsession.h"
#include "sessions/socialnetworkoauthsession.h"
#include "sessions/socialnetworksession.h"
#include "sessions/steamoauthsession.h"
#include "sessions/steamplayfabsession.h"
#include "sessions/steamsession.h"
#include "sessions/stonesession.h"
#include "storage/nativesecurejsonobjectstorage.h"

#include "emulatorprocess.h"
#include "simulatedbrowser.h"

#include <QCommandLineParser>
#include <QDesktopServices>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>
#include <QEventLoop>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

using namespace NimblaSDK;

namespace {

constexpr int ProbeIntervalMs = 1;
// Long enough for the work a sign-in leaves behind (a listener's shut-down,
// a vault write, a settings sync) to reach the main thread if it ever does.
constexpr int SettleMs = 300;
constexpr int SignInTimeoutMs = 15000;

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

// Time the kernel kept this thread waiting for a CPU, in nanoseconds. On a
// machine with two cores the emulator, the keyring and the bus daemon run
// beside the launcher, and a tick delayed only because one of them had the CPU
// is not time that the library held the thread.
class RunQueueClock
{
public:
    RunQueueClock()
        : m_file(QStringLiteral("/proc/thread-self/schedstat"))
    {
        m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    qint64 waitedNs()
    {
        if (!m_file.isOpen() || !m_file.seek(0))
            return 0;
        // "<ns on a CPU> <ns waiting for one> <time slices>"
        return m_file.readAll().split(' ').value(1).toLongLong();
    }

private:
    QFile m_file;
};

// Records how late each tick of a 1 ms timer on this thread comes: in all, and
// without the time the thread only waited for a CPU (held by the launcher).
class StallProbe : public QObject
{
public:
    StallProbe()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(ProbeIntervalMs);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            const qint64 gapNs = m_clock.nsecsElapsed();
            const qint64 waitedNs = m_runQueue.waitedNs();
            m_clock.start();
            m_stallsUs.push_back(lateUs(gapNs));
            m_heldUs.push_back(lateUs(gapNs - (waitedNs - m_lastWaitedNs)));
            m_lastWaitedNs = waitedNs;
        });
    }

    void start()
    {
        m_lastWaitedNs = m_runQueue.waitedNs();
        m_clock.start();
        m_timer.start();
    }

    void stop() { m_timer.stop(); }

    const std::vector<qint64> &stallsUs() const { return m_stallsUs; }
    const std::vector<qint64> &heldUs() const { return m_heldUs; }

private:
    static qint64 lateUs(qint64 gapNs) { return std::max<qint64>(0, gapNs / 1000 - ProbeIntervalMs * 1000); }

    QTimer m_timer;
    QElapsedTimer m_clock;
    RunQueueClock m_runQueue;
    qint64 m_lastWaitedNs = 0;
    std::vector<qint64> m_stallsUs;
    std::vector<qint64> m_heldUs;
};

// The real browser is another process. This one follows the redirects on a
// thread of its own, so that its work is not counted against the library.
class BrowserOnItsOwnThread : public QObject
{
    Q_OBJECT

public:
    BrowserOnItsOwnThread()
    {
        m_context.moveToThread(&m_thread);
        m_thread.start();
        QMetaObject::invokeMethod(
                &m_context, [this] { m_browser = std::make_unique<SimulatedBrowser>(); }, Qt::BlockingQueuedConnection);
        QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "open");
    }

    ~BrowserOnItsOwnThread() override
    {
        QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
        QMetaObject::invokeMethod(&m_context, [this] { m_browser.reset(); }, Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
    }

public Q_SLOTS:
    void open(const QUrl &url)
    {
        QMetaObject::invokeMethod(&m_context, [this, url] { m_browser->open(url); });
    }

private:
    QThread m_thread;
    QObject m_context;
    std::unique_ptr<SimulatedBrowser> m_browser;
};

struct Method
{
    QString name;
    std::function<AbstractSession *()> create;
    std::function<void(AbstractSession *)> start;
};

// A method that the launcher starts through the manager; the measure covers the
// manager's construction too, as at a launcher's start. prepare() runs before
// the probe starts.
struct ManagedMethod
{
    QString name;
    std::function<void()> prepare;
    std::function<void(AuthManager &)> start;
};

struct Player
{
    QString login = QStringLiteral("alice@example.com");
    QString password = QStringLiteral("alice-password");
    QString jwt;
    QString userId;
    QString provider = QStringLiteral("testbook");
    QString providerLink;
};

std::vector<Method> methods(const Player &player)
{
    const auto tryLogin = [](AbstractSession *session) { session->tryLogin(); };
    // Password sign-ins first ask the service how the project logs in.
    const auto checkLoginType = [](AbstractSession *session) { session->checkLoginType(); };
    return {
        {QStringLiteral("jwt"),
         [player] {
             auto *session = new JwtLoginSession(nullptr);
             session->setJwtToken(player.jwt);
             return session;
         },
         tryLogin},
        {QStringLiteral("password"),
         [player] {
             auto *session = new NimblaLoginSession(nullptr);
             session->setLogin(player.login);
             session->setPassword(player.password);
             return session;
         },
         checkLoginType},
        {QStringLiteral("oauth-password"),
         [player] {
             auto *session = new NimblaLoginOAuthSession(nullptr);
             session->setLogin(player.login);
             session->setPassword(player.password);
             return session;
         },
         checkLoginType},
        {QStringLiteral("social"),
         [player] {
             auto *session = new SocialNetworkSession(nullptr);
             session->setNetworkLink(player.providerLink);
             return session;
         },
         tryLogin},
        {QStringLiteral("social-oauth"), [player] { return new SocialNetworkOAuthSession(player.provider, nullptr); },
         tryLogin},
        // Against the stand-in Steam client that the emulator's configuration names.
        {QStringLiteral("steam"),
         [] {
             auto *session = new SteamSession(nullptr);
             session->setSteamAppId(QStringLiteral("700100"));
             return session;
         },
         tryLogin},
        {QStringLiteral("steam-oauth"),
         [] {
             auto *session = new SteamOAuthSession(nullptr);
             session->setSteamAppId(QStringLiteral("700100"));
             return session;
         },
         tryLogin},
        {QStringLiteral("playfab"),
         [player] {
             auto *session = new PlayfabLoginSession(nullptr);
             session->setLogin(player.login);
             session->setPassword(player.password);
             return session;
         },
         tryLogin},
        {QStringLiteral("mailru"),
         [] {
             auto *session = new MailRuSession(nullptr);
             session->setUid(QStringLiteral("mailru-1001"));
             session->setTicked(QStringLiteral("mailru-ticket-1001"));
             return session;
         },
         tryLogin},
        // The stand-in launcher library that the emulator's configuration names, loaded by the session.
        {QStringLiteral("stone"), [] { return new StoneSession(nullptr, QStringLiteral("4242")); }, tryLogin},
        // The stand-in's Steam account is new to PlayFab, which creates its player.
        {QStringLiteral("steam-playfab"), [] { return new SteamPlayfabSession(nullptr); }, tryLogin},
    };
}

// Connects the session that \a manager makes current, now or later, to \a loop.
void watchSessions(AuthManager &manager, QEventLoop &loop, const QString &name, bool &succeeded)
{
    QObject::connect(&manager, &AuthManager::currentSessionChanged, &loop, [&, name] {
        AbstractSession *session = manager.CurrentSession();
        if (!session)
            return;
        QObject::connect(session, &AbstractSession::loginFinished, &loop, [&] {
            succeeded = true;
            loop.quit();
        });
        QObject::connect(session, &AbstractSession::error, &loop, [&loop, name](const QString &message) {
            out() << name << ": sign-in failed: " << message << Qt::endl;
            loop.quit();
        });
    });
}

// An unmeasured password sign-in over OAuth2 that leaves a remembered record.
void rememberSignIn(const Player &player)
{
    QEventLoop loop;
    bool succeeded = false;
    AuthManager manager;
    watchSessions(manager, loop, QStringLiteral("remembered sign-in"), succeeded);
    manager.setRememberMe(true);
    manager.loginViaNimblaLoginOAuth(player.login, player.password, false);
    QTimer::singleShot(SignInTimeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
}

std::vector<ManagedMethod> managedMethods(const Player &player, EmulatorProcess &emulator)
{
    return {
        {QStringLiteral("autologin"),
         [player] {
             // Each restore saves the rotated token again, so one sign-in serves every run.
             NativeSecureJsonObjectStorage record(QStringLiteral("%1Session").arg(NApplication::instance().appAccountName()));
             if (record.read().isEmpty())
                 rememberSignIn(player);
         },
         [](AuthManager &manager) { manager.tryAutoLogin(); }},
        {QStringLiteral("otp"),
         [&emulator] {
             static int count = 0;
             const QString otp = QStringLiteral("bench-otp-%1").arg(++count);
             emulator.send("POST", QStringLiteral("/admin/otp"), {{"otp", otp}, {"outcome", "oauth2"}});
             QSettings left(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("NIMBLA"),
                            NApplication::instance().configManager()->productName() + QStringLiteral("_Launcher"));
             left.setValue(QStringLiteral("otp"), otp);
         },
         [](AuthManager &manager) { manager.tryLoginWithOtp(); }},
    };
}

void settle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// One sign-in under the probe; false when it did not succeed.
bool measureOnce(const Method &method, StallProbe &probe)
{
    QEventLoop loop;
    bool succeeded = false;
    probe.start();
    std::unique_ptr<AbstractSession> session(method.create());
    QObject::connect(session.get(), &AbstractSession::loginFinished, &loop, [&] {
        succeeded = true;
        loop.quit();
    });
    QObject::connect(session.get(), &AbstractSession::error, &loop, [&](const QString &message) {
        out() << method.name << ": sign-in failed: " << message << Qt::endl;
        loop.quit();
    });
    QTimer::singleShot(SignInTimeoutMs, &loop, &QEventLoop::quit);
    method.start(session.get());
    loop.exec();
    session.reset();
    settle(SettleMs);
    probe.stop();
    return succeeded;
}

// A write and a read of the signed-in player's attributes, as a launcher's profile page does.
bool measureAttributesOnce(const Player &player, StallProbe &probe)
{
    QEventLoop loop;
    int succeeded = 0;
    int answered = 0;
    const auto done = [&](const UserAttributesError &error) {
        succeeded += error.code == 0 ? 1 : 0;
        if (++answered == 2)
            loop.quit();
    };
    probe.start();
    auto requester = QSharedPointer<HttpApiRequester>::create(nullptr);
    requester->authorized({{QStringLiteral("access_token"), player.jwt}});
    auto attributes = std::make_unique<UserAttributes>(requester, QSharedPointer<AuthManager>(), nullptr);
    QObject::connect(attributes.get(), &UserAttributes::updateFinished, &loop, done);
    QObject::connect(attributes.get(), &UserAttributes::getFinished, &loop, done);
    attributes->setPublisherID(1);
    attributes->setUserID(player.userId);
    attributes->setKeys({QStringLiteral("title")});
    attributes->setValue(QStringLiteral("title"), QStringLiteral("bench"));
    QTimer::singleShot(SignInTimeoutMs, &loop, &QEventLoop::quit);
    attributes->update();
    attributes->get();
    loop.exec();
    attributes.reset();
    settle(SettleMs);
    probe.stop();
    if (succeeded != 2)
        out() << "attributes: " << succeeded << " of 2 requests succeeded" << Qt::endl;
    return succeeded == 2;
}

bool measureManagedOnce(const ManagedMethod &method, StallProbe &probe)
{
    method.prepare();
    QEventLoop loop;
    bool succeeded = false;
    probe.start();
    auto manager = std::make_unique<AuthManager>();
    watchSessions(*manager, loop, method.name, succeeded);
    QTimer::singleShot(SignInTimeoutMs, &loop, &QEventLoop::quit);
    method.start(*manager);
    loop.exec();
    manager.reset();
    settle(SettleMs);
    probe.stop();
    return succeeded;
}

double p99Ms(std::vector<qint64> valuesUs)
{
    if (valuesUs.empty())
        return 0;
    const auto index = std::min(valuesUs.size() - 1, size_t(0.99 * double(valuesUs.size())));
    std::nth_element(valuesUs.begin(), valuesUs.begin() + long(index), valuesUs.end());
    return double(valuesUs[index]) / 1000;
}

double longestMs(const std::vector<qint64> &valuesUs)
{
    return valuesUs.empty() ? 0 : double(*std::max_element(valuesUs.begin(), valuesUs.end())) / 1000;
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "minimal");
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("nimbla-bench"));
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.info=false"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Measures how long each sign-in method holds the main thread."));
    parser.addHelpOption();
    const QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Sign-ins per method."),
                                        QStringLiteral("count"), QStringLiteral("30"));
    const QCommandLineOption limitOption(QStringLiteral("limit-ms"),
                                         QStringLiteral("Exit with 1 when a method holds the thread longer than this."),
                                         QStringLiteral("ms"), QStringLiteral("4"));
    parser.addOptions({runsOption, limitOption});
    parser.process(app);
    const int runs = std::max(1, parser.value(runsOption).toInt());
    const double limitMs = parser.value(limitOption).toDouble();

    QTemporaryDir workspace;
    qputenv("XDG_CONFIG_HOME", workspace.filePath(QStringLiteral("config")).toLocal8Bit());
    qputenv("XDG_DATA_HOME", workspace.filePath(QStringLiteral("data")).toLocal8Bit());

    EmulatorProcess emulator;
    const QString configPath = workspace.filePath(QStringLiteral("launcher.json"));
    if (!emulator.start(QStringLiteral(NIMBLA_EMULATOR_PATH), configPath))
        return 2;
    NApplication::instance().loadConfiguration(configPath);

    Player player;
    player.jwt = emulator.token(player.login);
    JwtCodec codec;
    codec.decode(player.jwt);
    player.userId = codec.payloadDocument().object().value(QStringLiteral("sub")).toString();
    player.providerLink =
            emulator.socialProviderLink(NApplication::instance().urlsManager()->socialNetworksListUrl(), player.provider);
    BrowserOnItsOwnThread browser;

    out() << QStringLiteral("%1 %2 %3 %4 %5 %6")
                     .arg("method", -16)
                     .arg("runs", 6)
                     .arg("longest ms", 12)
                     .arg("p99 ms", 8)
                     .arg("longest held ms", 16)
                     .arg("p99 held ms", 12)
          << Qt::endl;
    bool withinLimit = true;
    std::vector<std::pair<QString, std::function<bool(StallProbe &)>>> rows;
    // The machine's own noise, against which the sign-ins are read: the probe
    // alone, for as long as a quick sign-in takes.
    rows.emplace_back(QStringLiteral("(no sign-in)"), [](StallProbe &probe) {
        probe.start();
        settle(2 * SettleMs);
        probe.stop();
        return true;
    });
    for (const Method &method : methods(player))
        rows.emplace_back(method.name, [method](StallProbe &probe) { return measureOnce(method, probe); });
    for (const ManagedMethod &method : managedMethods(player, emulator))
        rows.emplace_back(method.name, [method](StallProbe &probe) { return measureManagedOnce(method, probe); });
    rows.emplace_back(QStringLiteral("attributes"),
                      [&player](StallProbe &probe) { return measureAttributesOnce(player, probe); });
    for (const auto &[name, measure] : rows) {
        StallProbe probe;
        int succeeded = 0;
        for (int run = 0; run < runs; ++run)
            succeeded += measure(probe) ? 1 : 0;
        const double heldMs = longestMs(probe.heldUs());
        out() << QStringLiteral("%1 %2 %3 %4 %5 %6")
                         .arg(name, -16)
                         .arg(QStringLiteral("%1/%2").arg(succeeded).arg(runs), 6)
                         .arg(longestMs(probe.stallsUs()), 12, 'f', 2)
                         .arg(p99Ms(probe.stallsUs()), 8, 'f', 2)
                         .arg(heldMs, 16, 'f', 2)
                         .arg(p99Ms(probe.heldUs()), 12, 'f', 2)
              << Qt::endl;
        withinLimit = withinLimit && succeeded == runs && heldMs <= limitMs;
    }
    return withinLimit ? 0 : 1;
}

#include "bench_mainthreadstall.moc"
