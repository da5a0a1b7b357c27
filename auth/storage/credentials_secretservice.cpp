// Before any Qt header: GLib uses "signals" as a field name, which Qt defines as a keyword.
#include <libsecret/secret.h>

#include "credentials.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cwchar>
#include <mutex>
#include <thread>

namespace NimblaSDK {

Q_LOGGING_CATEGORY(lcCredentials, "NimblaSDK.Auth.Credentials")

namespace {

// A frozen daemon keeps a synchronous call waiting for about fifty seconds;
// the caller is the GUI thread, so every call is cut off well before that.
constexpr std::chrono::milliseconds ServiceTimeout{2000};

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

// Cancels the calls of one operation when the service has not answered in time.
class Watchdog
{
public:
    Watchdog()
        : m_cancellable(g_cancellable_new())
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
        g_object_unref(m_cancellable);
    }

    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;

    GCancellable *cancellable() const { return m_cancellable; }

    bool fired() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_fired;
    }

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_wake.wait_for(lock, ServiceTimeout, [this] { return m_done; })) {
            m_fired = true;
            g_cancellable_cancel(m_cancellable);
        }
    }

    GCancellable *m_cancellable;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
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
        failure.cause = QStringLiteral("the Secret Service did not answer within %1 ms")
                            .arg(ServiceTimeout.count());
    } else if (error && error->domain == G_DBUS_ERROR
               && (error->code == G_DBUS_ERROR_SERVICE_UNKNOWN || error->code == G_DBUS_ERROR_NAME_HAS_NO_OWNER)) {
        failure.cause = QStringLiteral("no Secret Service is running");
    } else {
        failure.cause = fallbackCause;
    }
    if (failure.message.isEmpty())
        failure.message = failure.cause;
    return failure;
}

// Reaches an unlocked default keyring, or says why there is none.
class Keyring
{
public:
    explicit Keyring(const Watchdog &watchdog)
    {
        GError *error = nullptr;
        GDBusConnection *bus = g_bus_get_sync(G_BUS_TYPE_SESSION, watchdog.cancellable(), &error);
        if (!bus) {
            fail(describe(error, watchdog, QStringLiteral("no D-Bus session bus is available")), error);
            return;
        }
        g_object_unref(bus);

        m_service = secret_service_get_sync(SECRET_SERVICE_NONE, watchdog.cancellable(), &error);
        if (!m_service) {
            fail(describe(error, watchdog, QStringLiteral("no Secret Service is running")), error);
            return;
        }

        SecretCollection *collection = secret_collection_for_alias_sync(
            m_service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, watchdog.cancellable(), &error);
        if (!collection) {
            fail(describe(error, watchdog, QStringLiteral("there is no default keyring")), error);
            return;
        }
        const bool locked = secret_collection_get_locked(collection);
        g_object_unref(collection);
        if (locked) {
            // Unlocking means a password prompt, which would hold the GUI thread for as long as the
            // user takes; the caller gets the failure and asks for the password itself.
            fail(describe(nullptr, watchdog, QStringLiteral("the default keyring is locked")), nullptr);
            return;
        }
        m_ok = true;
    }

    ~Keyring()
    {
        if (m_service)
            g_object_unref(m_service);
    }

    Keyring(const Keyring &) = delete;
    Keyring &operator=(const Keyring &) = delete;

    bool ok() const { return m_ok; }
    SecretService *service() const { return m_service; }
    const Failure &failure() const { return m_failure; }

private:
    void fail(const Failure &failure, GError *error)
    {
        m_failure = failure;
        if (error)
            g_error_free(error);
    }

    SecretService *m_service = nullptr;
    bool m_ok = false;
    Failure m_failure;
};

class Attributes
{
public:
    explicit Attributes(const QString &target)
        : m_target(target.toUtf8())
        , m_table(g_hash_table_new(g_str_hash, g_str_equal))
    {
        g_hash_table_insert(m_table, const_cast<char *>(TargetAttribute), m_target.data());
    }

    ~Attributes() { g_hash_table_unref(m_table); }

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

} // namespace

CredentialRecord readCredential(const QString &target)
{
    Watchdog watchdog;
    Keyring keyring(watchdog);
    if (!keyring.ok()) {
        warnFailure("read", target, keyring.failure());
        return {};
    }

    const Attributes attributes(target);
    GError *error = nullptr;
    SecretValue *value = secret_service_lookup_sync(keyring.service(), credentialSchema(), attributes.table(),
                                                    watchdog.cancellable(), &error);
    if (error) {
        warnFailure("read", target, describe(error, watchdog, QStringLiteral("the Secret Service refused the lookup")));
        g_error_free(error);
        if (value)
            secret_value_unref(value);
        return {};
    }
    if (!value)
        return {};

    gsize length = 0;
    const gchar *bytes = secret_value_get(value, &length);
    const QJsonObject stored = QJsonDocument::fromJson(QByteArray(bytes, int(length))).object();
    secret_value_unref(value);

    const QJsonValue userName = stored.value(QLatin1String(UserNameField));
    const QJsonValue secret = stored.value(QLatin1String(SecretField));
    if (!userName.isString() || !secret.isString()) {
        Failure failure;
        failure.cause = QStringLiteral("the stored item is not a credential record");
        failure.message = failure.cause;
        warnFailure("read", target, failure);
        return {};
    }

    printReadTrace();
    return {target, userName.toString(), secret.toString()};
}

bool writeCredential(const CredentialRecord &record)
{
    Watchdog watchdog;
    Keyring keyring(watchdog);
    Failure failure;
    bool stored = false;

    if (keyring.ok()) {
        // The user name travels inside the secret so that a target holds exactly one item,
        // whatever user name was written before.
        const QJsonObject content{{QLatin1String(UserNameField), record.userName},
                                  {QLatin1String(SecretField), record.secret}};
        const QByteArray secretText = QJsonDocument(content).toJson(QJsonDocument::Compact);
        SecretValue *value = secret_value_new(secretText.constData(), secretText.size(), "application/json");
        const Attributes attributes(record.target);
        const QByteArray label = QStringLiteral("NIMBLA %1").arg(record.target).toUtf8();

        GError *error = nullptr;
        stored = secret_service_store_sync(keyring.service(), credentialSchema(), attributes.table(),
                                           SECRET_COLLECTION_DEFAULT, label.constData(), value,
                                           watchdog.cancellable(), &error);
        secret_value_unref(value);
        if (error) {
            stored = false;
            failure = describe(error, watchdog, QStringLiteral("the Secret Service refused to store the item"));
            g_error_free(error);
        } else if (!stored) {
            failure = describe(nullptr, watchdog, QStringLiteral("the Secret Service refused to store the item"));
        }
    } else {
        failure = keyring.failure();
    }

    if (stored)
        return true;

    warnFailure("write", record.target, failure);
    qWarning().noquote().nospace() << "Error while saving credentials: code " << unsigned(failure.code);
    qWarning().noquote().nospace() << "Error while saving credentials: " << failure.message;
    return false;
}

bool deleteCredential(const QString &target)
{
    Watchdog watchdog;
    Keyring keyring(watchdog);
    if (!keyring.ok()) {
        warnFailure("delete", target, keyring.failure());
        return false;
    }

    const Attributes attributes(target);
    GError *error = nullptr;
    const bool removed = secret_service_clear_sync(keyring.service(), credentialSchema(), attributes.table(),
                                                   watchdog.cancellable(), &error);
    if (error) {
        warnFailure("delete", target, describe(error, watchdog, QStringLiteral("the Secret Service refused the removal")));
        g_error_free(error);
        return false;
    }
    return removed;
}

} // namespace NimblaSDK
