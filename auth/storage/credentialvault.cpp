#include "credentialvault_p.h"

#include <QCoreApplication>

#include <thread>

namespace NimblaSDK {

CredentialVault &CredentialVault::instance()
{
    static CredentialVault *const vault = new CredentialVault;
    return *vault;
}

CredentialVault::CredentialVault()
{
    std::thread([this] { run(); }).detach();
    // Reaching the vault for the first time costs a bus connection and a session key
    // exchange, about 12 ms, which the first read would otherwise wait for. It starts
    // here, at the first use, and not with the application: the connection runs
    // through GLib, which reads the environment without Qt's lock, and a launcher may
    // still be setting its environment after creating the application object.
    CredentialBackend::prepare();
    // A sign-in that ends just before the application quits still leaves its account in the vault.
    qAddPostRoutine([] { instance().drain(); });
}

CredentialRecord CredentialVault::read(const QString &target)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const std::shared_ptr<Call> pending = m_pending.value(target);
    std::optional<CredentialRecord> record;
    if (pending) {
        if (pending->kind == Call::Kind::Write)
            record = pending->record;
        lock.unlock();
    } else {
        lock.unlock();
        record = wait(enqueue(Call::Kind::Read, {target, QString(), QString()}, true));
    }
    if (!record)
        return {};
    CredentialBackend::printReadTrace();
    return *record;
}

bool CredentialVault::write(const CredentialRecord &record)
{
    return wait(enqueue(Call::Kind::Write, record, true)).has_value();
}

bool CredentialVault::remove(const QString &target)
{
    return wait(enqueue(Call::Kind::Remove, {target, QString(), QString()}, true)).has_value();
}

void CredentialVault::queueWrite(const CredentialRecord &record)
{
    enqueue(Call::Kind::Write, record, false);
}

void CredentialVault::queueRemoval(const QString &target)
{
    enqueue(Call::Kind::Remove, {target, QString(), QString()}, false);
}

void CredentialVault::drain()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_finished.wait(lock, [this] { return m_queue.empty() && !m_running; });
}

std::shared_ptr<CredentialVault::Call> CredentialVault::enqueue(Call::Kind kind, const CredentialRecord &record,
                                                                bool waited)
{
    auto call = std::make_shared<Call>();
    call->kind = kind;
    call->record = record;
    if (waited)
        call->deadline = std::chrono::steady_clock::now() + CredentialBackend::ServiceTimeout;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.push_back(call);
        if (kind != Call::Kind::Read)
            m_pending.insert(record.target, call);
    }
    m_queued.notify_one();
    return call;
}

std::optional<CredentialRecord> CredentialVault::wait(const std::shared_ptr<Call> &call)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto done = [&call] { return call->done; };
    // A call still queued behind others at its deadline fails as soon as its turn comes, and
    // reports it then; the caller has waited as long as the vault may take.
    if (!m_finished.wait_until(lock, *call->deadline, done) && !call->started)
        return std::nullopt;
    m_finished.wait(lock, done);
    if (!call->succeeded)
        return std::nullopt;
    return call->record;
}

void CredentialVault::run()
{
    for (;;) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_queued.wait(lock, [this] { return !m_queue.empty(); });
        const std::shared_ptr<Call> call = m_queue.front();
        m_queue.pop_front();
        call->started = true;
        m_running = true;
        if (!call->deadline)
            call->deadline = std::chrono::steady_clock::now() + CredentialBackend::ServiceTimeout;
        lock.unlock();

        execute(*call);

        lock.lock();
        call->done = true;
        m_running = false;
        if (m_pending.value(call->record.target) == call)
            m_pending.remove(call->record.target);
        lock.unlock();
        m_finished.notify_all();
    }
}

void CredentialVault::execute(Call &call)
{
    const CredentialBackend::Deadline deadline = *call.deadline;
    switch (call.kind) {
    case Call::Kind::Read: {
        const std::optional<CredentialRecord> record = CredentialBackend::read(call.record.target, deadline);
        call.succeeded = record.has_value();
        if (record)
            call.record = *record;
        break;
    }
    case Call::Kind::Write:
        call.succeeded = CredentialBackend::write(call.record, deadline);
        break;
    case Call::Kind::Remove:
        call.succeeded = CredentialBackend::remove(call.record.target, deadline);
        break;
    }
}

} // namespace NimblaSDK
