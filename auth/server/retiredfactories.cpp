#include "retiredfactories.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <vector>

namespace NimblaSDK {

namespace {

constexpr int SweepIntervalMs = 100;

std::vector<Poco::Net::HTTPRequestHandlerFactory::Ptr> &retired()
{
    static std::vector<Poco::Net::HTTPRequestHandlerFactory::Ptr> factories;
    return factories;
}

bool soleOwner(const Poco::Net::HTTPRequestHandlerFactory::Ptr &factory)
{
    return factory.referenceCount() == 1;
}

QTimer *sweeper()
{
    static QPointer<QTimer> timer;
    if (!timer) {
        timer = new QTimer(QCoreApplication::instance());
        timer->setInterval(SweepIntervalMs);
        QObject::connect(timer, &QTimer::timeout, [] {
            auto &factories = retired();
            factories.erase(std::remove_if(factories.begin(), factories.end(), soleOwner), factories.end());
            if (factories.empty())
                timer->stop();
        });
        // Whatever is left when the application goes is released with it, still on the main thread.
        QObject::connect(timer, &QObject::destroyed, [] { retired().clear(); });
    }
    return timer;
}

} // namespace

void RetiredFactories::release(Poco::Net::HTTPRequestHandlerFactory::Ptr factory)
{
    const QCoreApplication *application = QCoreApplication::instance();
    if (factory.isNull() || soleOwner(factory) || !application || application->thread() != QThread::currentThread())
        return;
    retired().push_back(std::move(factory));
    sweeper()->start();
}

int RetiredFactories::pending()
{
    return int(retired().size());
}

} // namespace NimblaSDK
