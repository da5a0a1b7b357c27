#include "nnetworkaccessmanager.h"

#include "napplication.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QThread>
#include <QThreadStorage>
#include <QTimer>

namespace NimblaSDK {

namespace {

// Qt's transfer time-out restarts with every byte that arrives, so a service
// that trickles its answer could hold a request for as long as it likes; the
// configured time-out is a promise about the whole request instead. Aborting
// gives the reply the same OperationCanceledError that the transfer time-out
// gives, so the sessions see an unanswered request either way.
void armDeadline(QNetworkReply *reply, int milliseconds)
{
    auto *deadline = new QTimer(reply);
    deadline->setSingleShot(true);
    deadline->setTimerType(Qt::PreciseTimer);
    QObject::connect(deadline, &QTimer::timeout, reply, &QNetworkReply::abort);
    QObject::connect(reply, &QNetworkReply::finished, deadline, &QTimer::stop);
    deadline->start(milliseconds);
}

class GuardedNetworkAccessManager : public QNetworkAccessManager
{
public:
    explicit GuardedNetworkAccessManager(QObject *parent = nullptr)
        : QNetworkAccessManager(parent)
    {
        // The sessions read the service's redirect ("Location") themselves, so
        // a redirect must reach them as it came. Qt 6 follows redirects unless
        // told otherwise; Qt 5 did not.
        setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
    }

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request,
                                 QIODevice *outgoingData) override
    {
        const ConfigManager *config = NApplication::instance().configManager();
        // Qt keeps the connection of a tolerated GET open, and a later request
        // to the same host would be sent over it without a check of its own.
        // Tolerated GETs go through a manager of their own, whose connections
        // no other request can share.
        if (operation == GetOperation && !config->strictTls() && !m_toleratesTlsErrors)
            return toleratingManager()->createRequest(operation, request, outgoingData);

        // Qt 6 offers HTTP/2 to a TLS service unless told otherwise; Qt 5 does not.
        // One protocol on both keeps the TLS policy and the deadline below as they are.
        QNetworkRequest http1(request);
        http1.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
        QNetworkReply *reply = QNetworkAccessManager::createRequest(operation, http1, outgoingData);
        if (m_toleratesTlsErrors)
            reply->ignoreSslErrors();
        armDeadline(reply, config->requestTimeout());
        return reply;
    }

private:
    GuardedNetworkAccessManager *toleratingManager()
    {
        if (!m_toleratingManager) {
            m_toleratingManager = new GuardedNetworkAccessManager(this);
            m_toleratingManager->m_toleratesTlsErrors = true;
            // For whoever watches the manager that the caller sees.
            connect(m_toleratingManager, &QNetworkAccessManager::finished, this, &QNetworkAccessManager::finished);
        }
        return m_toleratingManager;
    }

    bool m_toleratesTlsErrors = false;
    GuardedNetworkAccessManager *m_toleratingManager = nullptr;
};

QNetworkAccessManager *mainThreadManager()
{
    // Parented to the application so that it dies before Qt's network
    // machinery does; a new one is made if an application is created anew.
    static QPointer<QNetworkAccessManager> manager;
    if (!manager)
        manager = new GuardedNetworkAccessManager(QCoreApplication::instance());
    return manager;
}

QNetworkAccessManager *threadManager()
{
    // Never destroyed: worker threads of a thread pool may outlive every
    // static object, and each still deletes its own manager when it exits.
    static auto *managers = new QThreadStorage<QNetworkAccessManager *>;
    if (!managers->hasLocalData()) {
        // A thread that Qt did not start (the callback server's POCO workers)
        // has no event dispatcher until an event loop is made on it, and the
        // deadline timer of its first request would never fire without one.
        QEventLoop dispatcherMaker;
        managers->setLocalData(new GuardedNetworkAccessManager);
    }
    return managers->localData();
}

bool onMainThread()
{
    const QCoreApplication *application = QCoreApplication::instance();
    return application && application->thread() == QThread::currentThread();
}

} // namespace

QNetworkAccessManager *NNetworkAccessManager::getManager()
{
    return onMainThread() ? mainThreadManager() : threadManager();
}

bool NNetworkAccessManager::isComplete(const QNetworkReply *reply, const QByteArray &body)
{
    // A compressed body's length counts the bytes on the wire, not those Qt hands on.
    if (reply->hasRawHeader("Content-Encoding") && reply->rawHeader("Content-Encoding") != "identity")
        return true;
    bool announced = false;
    const qint64 length = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(&announced);
    return !announced || body.size() >= length;
}

} // namespace NimblaSDK
