#pragma once

#include "demoservice.h"
#include "othersigninmethods.h"

#include "authmanager.h"
#include "nnetworkaccessmanager.h"
#include "qmlregistration.h"
#include "qtcompat_p.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

#include <memory>

/*
 * One start of the demo launcher's QML, driven as a person drives it: items
 * are found by their objectName, typed into and clicked through the window's
 * own keyboard and mouse events. Destroying the driver closes the launcher.
 */
class LauncherDriver
{
public:
    LauncherDriver()
    {
        static const bool registered = (NimblaSDK::QtCompat::usePlainControlsStyle(), NimblaSDK::registerQmlTypes(), true);
        Q_UNUSED(registered)
        m_engine.rootContext()->setContextProperty(QStringLiteral("otherMethods"), &m_methods);
        m_engine.load(QUrl(QStringLiteral("qrc:/launcher/main.qml")));
    }

    QQuickWindow *window() const
    {
        return m_engine.rootObjects().isEmpty() ? nullptr : qobject_cast<QQuickWindow *>(m_engine.rootObjects().first());
    }

    //! Searched among the items on the page, where a Repeater puts the items it makes.
    QQuickItem *item(const QString &objectName) const
    {
        return window() ? find(window()->contentItem(), objectName) : nullptr;
    }

    //! Whether the item is on the screen: itself and all its parents visible.
    bool shows(const QString &objectName) const
    {
        const QQuickItem *found = item(objectName);
        return found && found->isVisible();
    }

    QString text(const QString &objectName) const
    {
        const QQuickItem *found = item(objectName);
        return found ? found->property("text").toString() : QString();
    }

    //! A click in the middle of the item, if it is shown and enabled, where the last frame showed it.
    bool click(const QString &objectName)
    {
        // Items that have just arrived (the social providers) move the others at the next layout.
        if (!nextFrame())
            return false;
        QQuickItem *target = item(objectName);
        if (!target || !target->isVisible() || !target->isEnabled())
            return false;
        const QPointF centre = target->mapToScene(QPointF(target->width() / 2, target->height() / 2));
        QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, centre.toPoint());
        return true;
    }

    //! Clicks into the field and types \a text, key by key, over what it held.
    bool type(const QString &objectName, const QString &text)
    {
        if (!click(objectName) || !item(objectName)->hasActiveFocus())
            return false;
        QTest::keyClick(window(), Qt::Key_A, Qt::ControlModifier);
        for (const QChar character : text)
            QTest::keyClick(window(), character.toLatin1());
        return item(objectName)->property("text").toString() == text;
    }

    //! The player's steps on the sign-in form; false at the first that fails.
    bool signIn(const QString &login, const QString &password)
    {
        return type(QStringLiteral("loginField"), login) && type(QStringLiteral("passwordField"), password)
                && click(QStringLiteral("signInButton"));
    }

    bool busy() const { return item(QStringLiteral("busyIndicator"))->property("running").toBool(); }

    //! Whether the library's requests are all over; Qt's network manager, torn down with a transfer
    //! still running, leaves that transfer's parts behind.
    static bool networkIsQuiet()
    {
        return NimblaSDK::NNetworkAccessManager::getManager()->findChildren<QNetworkReply *>().isEmpty();
    }

    //! The AuthManager that the QML created.
    NimblaSDK::AuthManager *manager() const
    {
        return window() ? window()->findChild<NimblaSDK::AuthManager *>() : nullptr;
    }

private:
    bool nextFrame()
    {
        QSignalSpy swapped(window(), &QQuickWindow::frameSwapped);
        window()->update();
        return swapped.wait(5000);
    }

    static QQuickItem *find(QQuickItem *root, const QString &objectName)
    {
        if (root->objectName() == objectName)
            return root;
        for (QQuickItem *child : root->childItems()) {
            if (QQuickItem *found = find(child, objectName))
                return found;
        }
        return nullptr;
    }

    OtherSignInMethods m_methods{DemoService::platformPlayer()};
    QQmlApplicationEngine m_engine;
};
