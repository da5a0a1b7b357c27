#pragma once

#include "failurerow_p.h"

#include <Poco/Exception.h>

#include <QDebug>
#include <QString>

#include <exception>
#include <functional>

class QTimer;

namespace NimblaSDK {

class AbstractSession;
class IHttpServer;

/*
 * The attempt of a browser sign-in, shared by the social sessions: the
 * provider check and a start that never throws, one callback acted on per
 * attempt, and the ends by callback error or by time-out. The session keeps
 * what differs: how it builds the address, when it makes its listener, what
 * its callbacks carry, and its failure table.
 *
 * \code
 * m_signIn.start(m_providerName, [this] {
 *     m_timer->start();
 *     m_server->start();
 *     // ... build the address, announce it, open the browser ...
 * });
 * // in the listener's callbackSuccess handler:
 * if (!m_signIn.takeCallback())
 *     return;
 * m_signIn.stop();
 * \endcode
 */
class BrowserSignIn
{
public:
    //! The session's rows for the failures every browser attempt can end in.
    struct Failures
    {
        FailureRow notChosen;
        //! Its category also gets \a failedLine, the info line that opens the report.
        FailureRow callbackFailed;
        const char *failedLine;
        FailureRow timedOut;
    };
    using Report = std::function<void(const FailureRow &row)>;

    //! Reports through \a report, which hands the rows to the session's _reportFailure().
    BrowserSignIn(AbstractSession *session, QTimer *timer, Failures failures, Report report);

    //! The listener of the current attempt; the plain session makes a new one for each.
    void setServer(IHttpServer *server) { m_server = server; }
    IHttpServer *server() const { return m_server; }

    //! Runs \a attempt for \a provider, or reports that none was chosen.
    template <typename Attempt>
    void start(const QString &provider, Attempt &&attempt);

    //! True for the first callback of the attempt only.
    bool takeCallback();
    //! The attempt is given up: a late callback has nothing to finish.
    void abandon() { m_waiting = false; }

    //! Stops the listener and the time-out.
    void stop();
    //! The listener's callback carried no usable answer.
    void callbackFailed();
    //! No callback came in time.
    void timedOut();

private:
    AbstractSession *m_session;
    QTimer *m_timer;
    IHttpServer *m_server = nullptr;
    Failures m_failures;
    Report m_report;
    bool m_waiting = false;
};

template <typename Attempt>
void BrowserSignIn::start(const QString &provider, Attempt &&attempt)
{
    // A local listener that cannot open its socket is the failure expected
    // here: it is logged, never raised to the caller. The misspelt line is
    // kept for the log searches that look for it.
    try {
        if (provider.isEmpty()) {
            m_report(m_failures.notChosen);
            return;
        }
        m_waiting = true;
        attempt();
    } catch (const Poco::Exception &exception) {
        qDebug().noquote() << "Exeption" << QString::fromStdString(exception.displayText());
    } catch (const std::exception &exception) {
        qDebug().noquote() << "Exeption" << exception.what();
    }
}

} // namespace NimblaSDK
