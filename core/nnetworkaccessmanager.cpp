#include "nnetworkaccessmanager.h"

#include "napplication.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QThread>
#include <QThreadStorage>

namespace NimblaSDK {

namespace {

QNetworkAccessManager *mainThreadManager()
{
    // Parented to the application so that it dies before Qt's network
    // machinery does; a new one is made if an application is created anew.
    static QPointer<QNetworkAccessManager> manager;
    if (!manager)
        manager = new QNetworkAccessManager(QCoreApplication::instance());
    return manager;
}

QNetworkAccessManager *threadManager()
{
    // Never destroyed: worker threads of a thread pool may outlive every
    // static object, and each still deletes its own manager when it exits.
    static auto *managers = new QThreadStorage<QNetworkAccessManager *>;
    if (!managers->hasLocalData())
        managers->setLocalData(new QNetworkAccessManager);
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
    QNetworkAccessManager *manager = onMainThread() ? mainThreadManager() : threadManager();
    manager->setTransferTimeout(NApplication::instance().configManager()->requestTimeout());
    return manager;
}

void NNetworkAccessManager::ignoreSslErrors(QNetworkReply *reply)
{
    if (!NApplication::instance().configManager()->strictTls())
        reply->ignoreSslErrors();
}

} // namespace NimblaSDK
