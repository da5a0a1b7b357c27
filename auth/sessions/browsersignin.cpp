#include "browsersignin_p.h"

#include "abstractsession.h"
#include "server/ihttpserver.h"

#include <QLoggingCategory>
#include <QTimer>

namespace NimblaSDK {

BrowserSignIn::BrowserSignIn(AbstractSession *session, QTimer *timer, Failures failures, Report report)
    : m_session(session)
    , m_timer(timer)
    , m_failures(std::move(failures))
    , m_report(std::move(report))
{
}

bool BrowserSignIn::takeCallback()
{
    // A second callback of one attempt (a reloaded page, a browser that
    // retries) has nothing left to finish.
    const bool waiting = m_waiting;
    m_waiting = false;
    return waiting;
}

void BrowserSignIn::stop()
{
    m_server->stop();
    m_timer->stop();
    // Names the session as sender on purpose: the listener's and the timer's
    // own connections to the session stay in place, so a session that tries
    // again keeps every time-out connection it made.
    QObject::disconnect(m_session, nullptr, m_timer, nullptr);
}

void BrowserSignIn::callbackFailed()
{
    qCInfo(m_failures.callbackFailed.category) << m_failures.failedLine;
    stop();
    m_report(m_failures.callbackFailed);
}

void BrowserSignIn::timedOut()
{
    QObject::disconnect(m_session, nullptr, m_server, nullptr);
    m_server->stop();
    QObject::disconnect(m_session, nullptr, m_timer, nullptr);
    m_report(m_failures.timedOut);
}

} // namespace NimblaSDK
