#pragma once

#include "credentials_p.h"

#include <QHash>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

namespace NimblaSDK {

/*!
 * Runs every vault call on one long-lived thread, first in, first out.
 *
 * A vault call is several D-Bus round trips to the keyring daemon, and a write
 * took 5 to 100 ms; the sessions save the account in their reply handlers on the
 * GUI thread, so writes and removals are queued here instead of made there. A
 * read of a target with a queued or running write or removal answers from it at
 * once, so the account saved by one session is what the next session's
 * constructor reads, without waiting for the vault.
 */
class CredentialVault
{
public:
    //! Made at the first use, when its thread starts connecting. Lives until the process ends; its
    //! thread is never joined, so a stuck call cannot hold up the exit.
    static CredentialVault &instance();

    CredentialRecord read(const QString &target);
    bool write(const CredentialRecord &record);
    bool remove(const QString &target);
    void queueWrite(const CredentialRecord &record);
    void queueRemoval(const QString &target);

    //! Waits until every queued call has ended; each of them is bounded by its own deadline.
    void drain();

    CredentialVault(const CredentialVault &) = delete;
    CredentialVault &operator=(const CredentialVault &) = delete;

private:
    struct Call
    {
        enum class Kind { Read, Write, Remove };

        Kind kind = Kind::Read;
        CredentialRecord record;
        //! Set when queued for a caller that waits, so that the wait is bounded; otherwise when the call starts.
        std::optional<CredentialBackend::Deadline> deadline;
        bool started = false;
        bool done = false;
        bool succeeded = false;
    };

    CredentialVault();

    std::shared_ptr<Call> enqueue(Call::Kind kind, const CredentialRecord &record, bool waited);
    std::optional<CredentialRecord> wait(const std::shared_ptr<Call> &call);
    void run();
    void execute(Call &call);

    std::mutex m_mutex;
    std::condition_variable m_queued;
    std::condition_variable m_finished;
    std::deque<std::shared_ptr<Call>> m_queue;
    // The latest write or removal of each target that has not ended yet.
    QHash<QString, std::shared_ptr<Call>> m_pending;
    bool m_running = false;
};

} // namespace NimblaSDK
