#include "handlerfactoryforwarder.h"

#include "server/ihandlerfactory.h"

#include <QCoreApplication>
#include <QThread>

#include <atomic>

namespace NimblaSDK {

namespace {

// A deletion posted while the application is being destroyed would be dropped
// with its event queue, and the factory would leak. The application's post
// routine raises the flag, waits for the deletions being posted at that
// moment, and delivers those already posted; from then on a factory is
// deleted where POCO lets go of it, since the main thread no longer delivers
// anything to it.
std::atomic<bool> applicationClosing{false};
std::atomic<int> deletionsBeingPosted{0};

void deletePostedFactories()
{
    applicationClosing = true;
    while (deletionsBeingPosted > 0)
        QThread::yieldCurrentThread();
    // What QCoreApplication::exec() does on return, for an application that never ran it.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

HandlerFactoryForwarder::HandlerFactoryForwarder(IHandlerFactory *factory)
    : m_factory(factory)
{
    if (QCoreApplication::instance()) {
        // Once per application: the routines are consumed when it goes.
        qRemovePostRoutine(deletePostedFactories);
        qAddPostRoutine(deletePostedFactories);
        applicationClosing = false;
    }
}

HandlerFactoryForwarder::~HandlerFactoryForwarder()
{
    if (QThread::currentThread() == m_factory->thread()) {
        delete m_factory;
        return;
    }
    ++deletionsBeingPosted;
    const bool posted = !applicationClosing && QCoreApplication::instance();
    if (posted)
        m_factory->deleteLater();
    --deletionsBeingPosted;
    if (!posted)
        delete m_factory;
}

Poco::Net::HTTPRequestHandler *HandlerFactoryForwarder::createRequestHandler(const Poco::Net::HTTPServerRequest &request)
{
    return m_factory->createRequestHandler(request);
}

} // namespace NimblaSDK
