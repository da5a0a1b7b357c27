// Before any Qt header: GLib uses "signals" as a field name, which Qt defines as a keyword.
// The path-level calls, which libsecret marks as subject to change, spare a read the proxy
// objects that the object-level calls build for every collection and item, with their
// round trips to the daemon; a read runs while the GUI thread waits for it.
#define SECRET_API_SUBJECT_TO_CHANGE
#include <libsecret/secret.h>
// The function, not GObject's macro that keeps the argument's type: a call through the table below
// would expand it.
#undef g_object_ref

#include "credentials_p.h"

#include "authlogging_p.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLibrary>

#include <condition_variable>
#include <cstdio>
#include <cwchar>
#include <memory>
#include <mutex>
#include <thread>

namespace NimblaSDK {

namespace CredentialBackend {

namespace {

using Clock = std::chrono::steady_clock;

// libsecret, with the GLib calls made beside it, is loaded at the vault's first use, on the
// connecting thread, and not with NimblaAuth: with what it brings (GIO, GObject, libgcrypt) it cost
// every launcher's start about 1 ms and 1.7 MB, vault or not. Every call of this file goes through
// Api, and no GLib macro that calls GLib itself (a checked cast, G_DBUS_ERROR) is used: NimblaAuth
// is linked with no undefined symbol, so such a call fails the link.
#define NIMBLA_SECRET_FUNCTIONS(F) \
    F(g_bus_get_sync) F(g_cancellable_cancel) F(g_cancellable_new) F(g_dbus_connection_call_sync) \
    F(g_dbus_error_quark) F(g_dbus_proxy_get_connection) F(g_dbus_proxy_get_name) F(g_error_free) F(g_free) \
    F(g_hash_table_insert) F(g_hash_table_new) F(g_hash_table_unref) F(g_object_ref) F(g_object_unref) \
    F(g_str_equal) F(g_str_hash) F(g_strfreev) F(g_variant_get) F(g_variant_get_boolean) F(g_variant_is_of_type) \
    F(g_variant_new) F(g_variant_unref) F(secret_service_clear_sync) F(secret_service_get_secret_for_dbus_path_sync) \
    F(secret_service_get_type) F(secret_service_open_sync) F(secret_service_read_alias_dbus_path_sync) \
    F(secret_service_search_for_dbus_paths_sync) F(secret_service_store_sync) F(secret_value_get) \
    F(secret_value_new) F(secret_value_unref)

struct Api
{
#define NIMBLA_DECLARE(function) decltype(&::function) function = nullptr;
    NIMBLA_SECRET_FUNCTIONS(NIMBLA_DECLARE)
#undef NIMBLA_DECLARE
};

struct LoadedApi
{
    Api api;
    QString failure; //!< empty once every function is there
};

const LoadedApi &loadedApi()
{
    static const LoadedApi loaded = [] {
        LoadedApi result;
        // Never unloaded: GLib's type system keeps the types that libsecret registers.
        QLibrary library(QStringLiteral("secret-1"), 0);
        if (!library.load()) {
            result.failure = library.errorString();
            return result;
        }
#define NIMBLA_RESOLVE(function) \
        result.api.function = reinterpret_cast<decltype(&::function)>(library.resolve(#function)); \
        if (!result.api.function && result.failure.isEmpty()) \
            result.failure = QStringLiteral("%1 has no %2").arg(library.fileName(), QLatin1String(#function));
        NIMBLA_SECRET_FUNCTIONS(NIMBLA_RESOLVE)
#undef NIMBLA_RESOLVE
        return result;
    }();
    return loaded;
}

//! Loads libsecret at the first call; false, and why, when it cannot be loaded.
bool loadSecret(QString *failure)
{
    *failure = loadedApi().failure;
    return failure->isEmpty();
}

//! libsecret's and GLib's functions, once loadSecret() has succeeded.
const Api &secret()
{
    return loadedApi().api;
}

const char *const TargetAttribute = "target";
const char *const UserNameField = "userName";
const char *const SecretField = "secret";

const SecretSchema *credentialSchema()
{
    static const SecretSchema schema = {
        "org.nimbla.Credential",
        SECRET_SCHEMA_NONE,
        {
            {TargetAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING},
            {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING},
        },
        0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    };
    return &schema;
}

QString unansweredCause()
{
    return QStringLiteral("the Secret Service did not answer within %1 ms").arg(ServiceTimeout.count());
}

// A frozen daemon keeps a synchronous call waiting for about fifty seconds: the
// calls made for one deadline are cancelled when it passes. The deadline can move
// later while the calls run, for a connection that a later caller waits for too.
class Watchdog
{
public:
    explicit Watchdog(Deadline deadline)
        : m_deadline(deadline)
        , m_thread([this] { run(); })
    {
    }

    ~Watchdog()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_done = true;
        }
        m_wake.notify_one();
        m_thread.join();
        if (m_cancellable)
            secret().g_object_unref(m_cancellable);
    }

    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;

    //! Made at the first call, once libsecret is loaded; already cancelled when the deadline has passed.
    GCancellable *cancellable()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_cancellable) {
            m_cancellable = secret().g_cancellable_new();
            if (m_fired)
                secret().g_cancellable_cancel(m_cancellable);
        }
        return m_cancellable;
    }

    bool fired() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_fired;
    }

    void extend(Deadline deadline)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_deadline = std::max(m_deadline, deadline);
        }
        m_wake.notify_one();
    }

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_done) {
            if (m_wake.wait_until(lock, m_deadline) == std::cv_status::timeout && Clock::now() >= m_deadline) {
                m_fired = true;
                if (m_cancellable)
                    secret().g_cancellable_cancel(m_cancellable);
                return;
            }
        }
    }

    GCancellable *m_cancellable = nullptr;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    Deadline m_deadline;
    bool m_done = false;
    bool m_fired = false;
    std::thread m_thread;
};

struct Failure
{
    int code = 0;
    QString message;
    QString cause;
};

// The one place where the service's errors become a cause a reader can act on.
Failure describe(const GError *error, const Watchdog &watchdog, const QString &fallbackCause)
{
    Failure failure;
    if (error) {
        failure.code = error->code;
        failure.message = QString::fromUtf8(error->message);
    }
    if (watchdog.fired()) {
        failure.cause = unansweredCause();
    } else if (error && error->domain == secret().g_dbus_error_quark()
               && (error->code == G_DBUS_ERROR_SERVICE_UNKNOWN || error->code == G_DBUS_ERROR_NAME_HAS_NO_OWNER)) {
        failure.cause = QStringLiteral("no Secret Service is running");
    } else {
        failure.cause = fallbackCause;
    }
    if (failure.message.isEmpty())
        failure.message = failure.cause;
    return failure;
}

Failure describeTimeout()
{
    Failure failure;
    failure.cause = unansweredCause();
    failure.message = failure.cause;
    return failure;
}

/*
 * The session with the Secret Service, opened once and kept for every later call, so
 * that a call costs only its own round trips.
 *
 * Connecting runs on a thread of its own, never on the vault's thread: GDBus greets a
 * new bus with a Hello that no cancellable reaches, so a bus that accepts the
 * connection and then never answers holds the attempt for D-Bus's 25 s default. The
 * callers stop waiting at their own deadline; the attempt is left to end by itself and
 * is never joined, so that it cannot hold up the exit either.
 */
class ServiceConnection
{
public:
    static ServiceConnection &instance()
    {
        // Never destroyed: a stuck attempt may still refer to it when the process ends.
        static ServiceConnection *const connection = new ServiceConnection;
        return *connection;
    }

    //! Starts connecting unless connected or already connecting.
    void prepare(Deadline deadline)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        attemptBy(deadline);
    }

    //! A new reference to the service, or null and why, waiting for the attempt at most until \a deadline.
    SecretService *acquire(Deadline deadline, Failure *failure)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            if (m_service)
                return static_cast<SecretService *>(secret().g_object_ref(m_service));
            const std::shared_ptr<Attempt> attempt = attemptBy(deadline);
            // An attempt already cut off for an earlier caller is no answer for this one,
            // which tries again in its own time once that attempt has ended.
            const bool cutOff = attempt->watchdog.fired();
            if (!m_finished.wait_until(lock, deadline, [&attempt] { return attempt->finished; })) {
                *failure = describeTimeout();
                return nullptr;
            }
            if (!m_service && !cutOff) {
                *failure = attempt->failure;
                return nullptr;
            }
        }
    }

    //! A call on \a service failed: the next call connects afresh, in case the daemon has gone.
    void forget(SecretService *service)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_service != service)
            return;
        secret().g_object_unref(m_service);
        m_service = nullptr;
    }

private:
    struct Attempt
    {
        explicit Attempt(Deadline deadline)
            : watchdog(deadline)
        {
        }

        Watchdog watchdog;
        bool finished = false;
        Failure failure;
    };

    ServiceConnection() = default;

    // The running attempt, started if there is none, cancelled no earlier than \a deadline.
    std::shared_ptr<Attempt> attemptBy(Deadline deadline)
    {
        if (m_service)
            return nullptr;
        if (m_attempt) {
            m_attempt->watchdog.extend(deadline);
            return m_attempt;
        }
        m_attempt = std::make_shared<Attempt>(deadline);
        std::thread([this, attempt = m_attempt] { connect(attempt); }).detach();
        return m_attempt;
    }

    void connect(const std::shared_ptr<Attempt> &attempt)
    {
        Watchdog &watchdog = attempt->watchdog;
        Failure failure;
        SecretService *service = nullptr;
        QString unloadable;
        if (!loadSecret(&unloadable)) {
            failure.cause = QStringLiteral("libsecret cannot be loaded");
            failure.message = unloadable;
        } else {
            GError *error = nullptr;
            GDBusConnection *bus = secret().g_bus_get_sync(G_BUS_TYPE_SESSION, watchdog.cancellable(), &error);
            if (!bus) {
                failure = describe(error, watchdog, QStringLiteral("no D-Bus session bus is available"));
            } else {
                // A service of our own rather than libsecret's shared one, so that forgetting it
                // after a failure really means a new session with the daemon.
                service = static_cast<SecretService *>(
                        secret().secret_service_open_sync(secret().secret_service_get_type(), nullptr,
                                                          SECRET_SERVICE_OPEN_SESSION, watchdog.cancellable(), &error));
                if (!service)
                    failure = describe(error, watchdog, QStringLiteral("no Secret Service is running"));
                secret().g_object_unref(bus);
            }
            if (error)
                secret().g_error_free(error);
        }

        {
            std::lock_guard<std::mutex> lock(m_mutex);
            attempt->finished = true;
            attempt->failure = failure;
            m_service = service;
            m_attempt.reset();
        }
        m_finished.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_finished;
    SecretService *m_service = nullptr;
    std::shared_ptr<Attempt> m_attempt;
};

// One vault operation: the service and a watchdog that cuts every call at the operation's
// deadline; or the failure why there is no service.
class Operation
{
public:
    explicit Operation(Deadline deadline)
        : m_watchdog(deadline)
    {
        m_service = ServiceConnection::instance().acquire(deadline, &m_failure);
    }

    ~Operation()
    {
        if (m_service)
            secret().g_object_unref(m_service);
    }

    Operation(const Operation &) = delete;
    Operation &operator=(const Operation &) = delete;

    bool connected() const { return m_service; }
    SecretService *service() const { return m_service; }
    GCancellable *cancellable() { return m_watchdog.cancellable(); }
    const Failure &failure() const { return m_failure; }

    //! Takes \a error, which may be null, as the operation's failure.
    const Failure &fail(GError *error, const QString &fallbackCause)
    {
        m_failure = describe(error, m_watchdog, fallbackCause);
        if (error) {
            ServiceConnection::instance().forget(m_service);
            secret().g_error_free(error);
        }
        return m_failure;
    }

    //! Whether the default keyring exists and is unlocked; otherwise the failure says which.
    bool keyringUnlocked()
    {
        GError *error = nullptr;
        gchar *path = secret().secret_service_read_alias_dbus_path_sync(m_service, SECRET_COLLECTION_DEFAULT,
                                                                        cancellable(), &error);
        if (!path) {
            fail(error, QStringLiteral("there is no default keyring"));
            return false;
        }
        // A SecretService is a GDBusProxy: its first member.
        GDBusProxy *proxy = reinterpret_cast<GDBusProxy *>(m_service);
        GVariant *reply = secret().g_dbus_connection_call_sync(
            secret().g_dbus_proxy_get_connection(proxy), secret().g_dbus_proxy_get_name(proxy), path,
            "org.freedesktop.DBus.Properties", "Get",
            secret().g_variant_new("(ss)", "org.freedesktop.Secret.Collection", "Locked"),
            reinterpret_cast<const GVariantType *>("(v)"), G_DBUS_CALL_FLAGS_NONE, -1, cancellable(), &error);
        secret().g_free(path);
        if (!reply) {
            fail(error, QStringLiteral("there is no default keyring"));
            return false;
        }
        GVariant *locked = nullptr;
        secret().g_variant_get(reply, "(v)", &locked);
        const bool unlocked = secret().g_variant_is_of_type(locked, G_VARIANT_TYPE_BOOLEAN)
                              && !secret().g_variant_get_boolean(locked);
        secret().g_variant_unref(locked);
        secret().g_variant_unref(reply);
        if (!unlocked) {
            // Unlocking means a password prompt, which would hold the caller for as long as the
            // user takes; the caller gets the failure and asks for the password itself.
            fail(nullptr, QStringLiteral("the default keyring is locked"));
        }
        return unlocked;
    }

private:
    Watchdog m_watchdog;
    SecretService *m_service = nullptr;
    Failure m_failure;
};

class Attributes
{
public:
    explicit Attributes(const QString &target)
        : m_target(target.toUtf8())
        , m_table(secret().g_hash_table_new(secret().g_str_hash, secret().g_str_equal))
    {
        secret().g_hash_table_insert(m_table, const_cast<char *>(TargetAttribute), m_target.data());
    }

    ~Attributes() { secret().g_hash_table_unref(m_table); }

    Attributes(const Attributes &) = delete;
    Attributes &operator=(const Attributes &) = delete;

    GHashTable *table() const { return m_table; }

private:
    QByteArray m_target;
    GHashTable *m_table;
};

void warnFailure(const char *operation, const QString &target, const Failure &failure)
{
    if (failure.message == failure.cause)
        qCWarning(lcCredentials).noquote() << "Cannot" << operation << "the credential" << target << "-" << failure.cause;
    else
        qCWarning(lcCredentials).noquote() << "Cannot" << operation << "the credential" << target << "-" << failure.cause
                                           << QStringLiteral("(%1)").arg(failure.message);
}

} // namespace

void prepare()
{
    ServiceConnection::instance().prepare(Clock::now() + ServiceTimeout);
}

std::optional<CredentialRecord> read(const QString &target, Deadline deadline)
{
    Operation operation(deadline);
    if (!operation.connected()) {
        warnFailure("read", target, operation.failure());
        return std::nullopt;
    }

    const Attributes attributes(target);
    GError *error = nullptr;
    gchar **unlocked = nullptr;
    gchar **locked = nullptr;
    if (!secret().secret_service_search_for_dbus_paths_sync(operation.service(), credentialSchema(), attributes.table(),
                                                   operation.cancellable(), &unlocked, &locked, &error)) {
        warnFailure("read", target, operation.fail(error, QStringLiteral("the Secret Service refused the lookup")));
        return std::nullopt;
    }
    const bool found = unlocked && unlocked[0];
    const bool foundLocked = locked && locked[0];
    SecretValue *value = found ? secret().secret_service_get_secret_for_dbus_path_sync(
                                         operation.service(), unlocked[0], operation.cancellable(), &error)
                               : nullptr;
    secret().g_strfreev(unlocked);
    secret().g_strfreev(locked);
    if (error) {
        warnFailure("read", target, operation.fail(error, QStringLiteral("the Secret Service refused the lookup")));
        return std::nullopt;
    }
    if (!value) {
        // Nothing to read is silent, unless the keyring that would hold the item cannot be read.
        if (foundLocked)
            warnFailure("read", target, operation.fail(nullptr, QStringLiteral("the default keyring is locked")));
        else if (!found && !operation.keyringUnlocked())
            warnFailure("read", target, operation.failure());
        return std::nullopt;
    }

    gsize length = 0;
    const gchar *bytes = secret().secret_value_get(value, &length);
    const QJsonObject stored = QJsonDocument::fromJson(QByteArray(bytes, int(length))).object();
    secret().secret_value_unref(value);

    const QJsonValue userName = stored.value(QLatin1String(UserNameField));
    const QJsonValue secret = stored.value(QLatin1String(SecretField));
    if (!userName.isString() || !secret.isString()) {
        warnFailure("read", target, operation.fail(nullptr, QStringLiteral("the stored item is not a credential record")));
        return std::nullopt;
    }
    return CredentialRecord{target, userName.toString(), secret.toString()};
}

bool write(const CredentialRecord &record, Deadline deadline)
{
    Operation operation(deadline);
    if (operation.connected() && operation.keyringUnlocked()) {
        // The user name travels inside the secret so that a target holds exactly one item,
        // whatever user name was written before.
        const QJsonObject content{{QLatin1String(UserNameField), record.userName},
                                  {QLatin1String(SecretField), record.secret}};
        const QByteArray secretText = QJsonDocument(content).toJson(QJsonDocument::Compact);
        SecretValue *value = secret().secret_value_new(secretText.constData(), secretText.size(), "application/json");
        const Attributes attributes(record.target);
        const QByteArray label = QStringLiteral("NIMBLA %1").arg(record.target).toUtf8();

        GError *error = nullptr;
        const bool stored = secret().secret_service_store_sync(operation.service(), credentialSchema(),
                                                               attributes.table(), SECRET_COLLECTION_DEFAULT,
                                                               label.constData(), value,
                                                      operation.cancellable(), &error);
        secret().secret_value_unref(value);
        if (stored && !error)
            return true;
        operation.fail(error, QStringLiteral("the Secret Service refused to store the item"));
    }

    const Failure &failure = operation.failure();
    warnFailure("write", record.target, failure);
    qWarning().noquote().nospace() << "Error while saving credentials: code " << unsigned(failure.code);
    qWarning().noquote().nospace() << "Error while saving credentials: " << failure.message;
    return false;
}

bool remove(const QString &target, Deadline deadline)
{
    Operation operation(deadline);
    if (!operation.connected() || !operation.keyringUnlocked()) {
        warnFailure("delete", target, operation.failure());
        return false;
    }

    const Attributes attributes(target);
    GError *error = nullptr;
    const bool removed = secret().secret_service_clear_sync(operation.service(), credentialSchema(), attributes.table(),
                                                   operation.cancellable(), &error);
    if (error) {
        warnFailure("delete", target, operation.fail(error, QStringLiteral("the Secret Service refused the removal")));
        return false;
    }
    return removed;
}

// glibc ties a stream to one character width on its first use; wide output on a stream
// that already carries narrow text is dropped, and wide output on a fresh stream would
// silence every later narrow write of the host application. So the line goes out wide
// only when the stream is already wide.
void printReadTrace()
{
    if (std::fwide(stdout, 0) > 0)
        std::wprintf(L"All right!\n");
    else
        std::fputs("All right!\n", stdout);
    std::fflush(stdout);
}

} // namespace CredentialBackend

} // namespace NimblaSDK
